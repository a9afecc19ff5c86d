// What the daemon asks the service, beside the call that made it ask; and faults of the service.

import { calls } from './bus.js';
import { askedLine, isBad } from './asked.js';
import { verdict } from './describe.js';
import { copy, h } from './dom.js';
import { faultsCard } from './faults.js';
import * as feed from './feed.js';
import { clock, milliseconds, short } from './format.js';

const together = 100;
const mostShown = 150;

// Lines of one call are one group; so are those that follow each other at once without being this page's.
function group(lines) {
    const groups = [];
    const byCall = new Map();
    for (const line of lines) {
        const last = groups.at(-1);
        if (line.event !== undefined) {
            groups.push({ key: `event${line.id}`, event: line, at: line.at, lines: [] });
        } else if (byCall.has(line.call)) {
            byCall.get(line.call).lines.push(line);
        } else if (line.call) {
            const made = calls.find(one => one.id === line.call);
            const one = { key: `call${line.call}`, call: made, at: made?.begin ?? line.at, lines: [line] };
            byCall.set(line.call, one);
            groups.push(one);
        } else if (last && !last.call && !last.event && line.at - last.lines.at(-1).at < together) {
            last.lines.push(line);
        } else {
            groups.push({ key: `line${line.id}`, at: line.at, lines: [line] });
        }
    }
    return groups;
}

function head({ call, event, lines }) {
    if (event)
        return [h('span', { class: 'badge tells' }, 'event'), h('code', {}, event.name), h('span', { class: 'event-text muted' }, short(event.fields))];
    const bad = lines.filter(isBad).length;
    const ended = call?.end ? verdict(call) : null;
    return [
        call ? h('span', { class: 'group-name' }, h('code', {}, call.object), ' ', h('b', {}, call.method)) : h('span', { class: 'group-name muted' }, 'Somebody else, or the daemon by itself'),
        ended && !ended.good && h('span', { class: 'badge refused' }, ended.title),
        h('span', { class: 'muted group-sum' }, lines.length === 1 ? '1 request' : `${lines.length} requests`,
            call?.end && `, ${milliseconds(call.took)}`, bad > 0 && `, ${bad} went wrong`),
    ];
}

function groupNode(one, open) {
    const body = one.event
        ? h('pre', { tabindex: 0 }, JSON.stringify(one.event.fields, null, 2))
        : [one.call && Object.keys(one.call.arguments).length > 0 && h('p', { class: 'hint' }, 'Arguments ', h('code', {}, Object.keys(one.call.arguments).join(', '))),
            h('ul', { class: 'asked-list' }, one.lines.map(line => askedLine(line, one.at)))];
    return h('li', { class: one.lines.some(isBad) ? 'group bad' : 'group' },
        h('details', { open }, h('summary', {}, h('time', { class: 'number' }, clock(one.at)), head(one)), body));
}

export function show(root) {
    const list = h('ol', { class: 'groups', reversed: true, 'aria-label': 'Requests, the newest first' });
    const nothing = h('p', { class: 'empty muted' }, 'Nothing yet. Call something, and see what the daemon asks the service.');
    const count = h('span', { class: 'muted' });
    const filter = h('input', { type: 'search', class: 'small', placeholder: 'Filter', 'aria-label': 'Filter the requests', oninput: () => draw() });
    const polls = h('input', { type: 'checkbox', id: 'polls', onchange: () => draw() });
    const pause = h('button', { type: 'button', 'aria-pressed': 'false', onclick: () => setPaused(!paused) }, 'Pause');
    const opened = new Set();
    const signatures = new Map();
    let paused = false;
    let until = Infinity;
    let due = 0;

    const text = one => JSON.stringify([one.call?.object, one.call?.method, one.event?.name, one.lines.map(line => [line.name, line.type, line.reason, line.fault])]).toLowerCase();
    const wanted = one => (polls.checked || !one.call?.background || one.lines.some(isBad)) && (!filter.value || text(one).includes(filter.value.toLowerCase()));

    function draw() {
        due = 0;
        const groups = group(feed.requests.filter(line => line.id <= until)).filter(wanted).slice(-mostShown).reverse();
        const old = new Map([...list.children].map(node => [node.dataset.key, node]));
        list.replaceChildren(...groups.map(one => {
            const signature = `${one.lines.length} ${one.call?.end}`;
            if (old.has(one.key) && signatures.get(one.key) === signature)
                return old.get(one.key);
            signatures.set(one.key, signature);
            const node = groupNode(one, opened.has(one.key));
            node.dataset.key = one.key;
            node.firstChild.addEventListener('toggle', event => event.target.open ? opened.add(one.key) : opened.delete(one.key));
            return node;
        }));
        nothing.hidden = groups.length > 0;
        count.textContent = paused ? 'paused' : `${feed.requests.length} requests and events`;
    }

    const drawSoon = () => { due ||= setTimeout(draw, 150); };

    function setPaused(value) {
        paused = value;
        until = paused ? feed.requests.at(-1)?.id ?? 0 : Infinity;
        pause.setAttribute('aria-pressed', paused);
        pause.textContent = paused ? 'Go on' : 'Pause';
        draw();
    }

    const lines = () => feed.requests.map(({ id, at, call, ...line }) => JSON.stringify(line)).join('\n');
    const faults = faultsCard();
    root.append(h('div', { class: 'page' },
        h('div', { class: 'page-head' }, h('h1', { tabindex: -1, 'data-focus': true }, 'Requests')),
        h('div', { class: 'beside' }, faults.node,
            h('section', { class: 'card grow', 'aria-label': 'Requests' },
                h('div', { class: 'card-head' }, h('h2', {}, 'Asked of the service'), count,
                    h('div', { class: 'tools' }, h('label', { for: 'polls', class: 'check' }, polls, 'also what Home asks by itself'),
                        filter, pause, h('button', { type: 'button', onclick: () => copy(lines(), 'the recording as lines of JSON') }, 'Copy'),
                        h('button', { type: 'button', onclick: () => { feed.requests.length = 0; draw(); } }, 'Clear'))),
                nothing, list))));
    draw();
    const stop = feed.listen({ request: drawSoon, call: drawSoon });
    return () => {
        clearTimeout(due);
        stop();
        faults.end();
    };
}
