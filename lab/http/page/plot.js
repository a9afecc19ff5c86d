// Small pictures of numbers, drawn by hand as SVG.

import { h } from './dom.js';
import { rate } from './format.js';

const minutes = 3;
const shownFor = minutes * 60 * 1000;

// The least of 1, 2, 5, 10, 20, ... that is not below.
function roundUp(value) {
    const power = 10 ** Math.floor(Math.log10(Math.max(value, 1)));
    return [1, 2, 5, 10].map(step => step * power).find(step => step >= value);
}

// One line over the last minutes. draw(samples) with [{ at, value, up }], oldest first; where `up` is false the ground is shaded.
export function createPlot(label, kind) {
    const [width, height] = [320, 76];
    const title = h('title');
    const shade = h('g', { class: 'plot-down' });
    const area = h('path', { class: 'plot-area' });
    const line = h('path', { class: 'plot-line' });
    const cursor = h('line', { class: 'plot-cursor', y1: 0, y2: height, visibility: 'hidden' });
    const grid = [0.5, 1].map(part => h('line', { class: 'plot-grid', x1: 0, x2: width, y1: height - part * (height - 6), y2: height - part * (height - 6) }));
    const picture = h('svg', { viewBox: `0 0 ${width} ${height}`, preserveAspectRatio: 'none', class: `plot ${kind}`, role: 'img' },
        title, grid, shade, area, line, cursor);
    const most = h('span', { class: 'plot-most' });
    const node = h('div', { class: 'plot-box' }, picture, most,
        h('div', { class: 'plot-axis', 'aria-hidden': 'true' }, h('span', {}, `−${minutes} min`), h('span', {}, 'now')));
    let shown = [];
    let top = 1;
    let now = 0;

    const x = at => width - (now - at) / shownFor * width;
    const y = value => height - value / top * (height - 6);

    function draw(samples) {
        now = Date.now();
        shown = samples.filter(sample => sample.at > now - shownFor);
        top = roundUp(Math.max(...shown.map(sample => sample.value), 1));
        const points = shown.map(({ at, value }) => `${x(at).toFixed(1)},${y(value).toFixed(1)}`);
        line.setAttribute('d', points.length ? `M${points.join('L')}` : '');
        area.setAttribute('d', points.length ? `M${x(shown[0].at).toFixed(1)},${height}L${points.join('L')}L${x(shown.at(-1).at).toFixed(1)},${height}Z` : '');
        shade.replaceChildren(...shown.filter(sample => !sample.up).map(({ at }) => h('rect', { x: x(at) - 1.1, y: 0, width: 2.4, height })));
        most.textContent = rate(top);
        const values = shown.map(sample => sample.value);
        title.textContent = shown.length
            ? `${label} in the last ${minutes} minutes: now ${rate(values.at(-1))}, at most ${rate(Math.max(...values))}`
            : `${label}: nothing yet`;
    }

    picture.addEventListener('pointermove', event => {
        if (!shown.length)
            return;
        const box = picture.getBoundingClientRect();
        const at = now - (1 - (event.clientX - box.left) / box.width) * shownFor;
        const near = shown.reduce((best, sample) => Math.abs(sample.at - at) < Math.abs(best.at - at) ? sample : best);
        cursor.setAttribute('visibility', 'visible');
        cursor.setAttribute('x1', x(near.at));
        cursor.setAttribute('x2', x(near.at));
        most.textContent = `${rate(near.value)}, ${Math.round((now - near.at) / 1000)} s ago`;
    });
    picture.addEventListener('pointerleave', () => {
        cursor.setAttribute('visibility', 'hidden');
        most.textContent = rate(top);
    });
    return { node, draw };
}

// A bar for each channel, as high as its score; the channel in use stands out.
export function channelScores(scores, current) {
    const [step, height] = [22, 44];
    const bars = scores.map(({ ch, score }, at) => h('g', { class: ch === current ? 'score here' : 'score' },
        h('rect', { x: at * step + 3, y: height - score / 100 * height, width: step - 6, height: Math.max(score / 100 * height, 1), rx: 2 }),
        h('text', { x: at * step + step / 2, y: height + 13, 'text-anchor': 'middle' }, ch)));
    const best = scores.reduce((most, one) => one.score > most.score ? one : most, scores[0]);
    return h('svg', { class: 'scores', viewBox: `0 0 ${scores.length * step} ${height + 16}`, role: 'img', width: scores.length * step, height: height + 16 },
        h('title', {}, `Scores of the channels at the last scan; the best is channel ${best.ch} with ${best.score}`), bars);
}

const strengths = [-75, -65, -55];

export const strength = dbm => 1 + strengths.filter(least => dbm > least).length;

export function signalBars(dbm) {
    const bars = strength(dbm);
    return h('svg', { viewBox: '0 0 18 14', width: 18, height: 14, class: `bars bars-${bars}`, 'aria-hidden': 'true' },
        [0, 1, 2, 3].map(at => h('rect', { class: at < bars ? 'on' : '', x: at * 4.6, y: 10 - at * 3, width: 3.4, height: 4 + at * 3, rx: 1 })));
}

export function meter(label) {
    const fill = h('div', { class: 'meter-fill' });
    const node = h('div', { class: 'meter', role: 'meter', 'aria-label': label, 'aria-valuemin': 0, 'aria-valuemax': 100, 'aria-valuenow': 0 }, fill);
    function set(percent) {
        node.setAttribute('aria-valuenow', percent);
        node.setAttribute('aria-valuetext', `${percent} %`);
        fill.style.width = `${Math.max(0, Math.min(100, percent))}%`;
        fill.classList.toggle('high', percent >= 80);
    }
    return { node, set };
}
