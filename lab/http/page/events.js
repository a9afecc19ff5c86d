// Notifications as they come, and events to push.

import { lab } from './bus.js';
import { descriptions } from './describe.js';
import { copy, flash, h, say } from './dom.js';
import * as feed from './feed.js';
import { clock, short } from './format.js';

// A value as the example's command line gives it: numbers, lists and words of yes and no are JSON, all else is text.
function parse(text) {
    try {
        const value = JSON.parse(text);
        return typeof value === 'string' ? text : value;
    } catch {
        return text;
    }
}

// Every kind of event with the fields of its examples: { kind, tells, presets: [{ title, fields }] }.
function kinds() {
    const found = new Map();
    for (const file of descriptions)
        for (const notification of Object.values(file.notifications))
            for (const { title, event: [kind, ...assignments] } of notification.examples) {
                const fields = Object.fromEntries(assignments.map(text => [text.slice(0, text.indexOf('=')), text.slice(text.indexOf('=') + 1)]));
                const entry = found.get(kind) ?? { kind, tells: file.object.replace('wexond.', ''), presets: [] };
                entry.presets.push({ title, fields });
                found.set(kind, entry);
            }
    return [...found.values()].sort((one, other) => one.kind.localeCompare(other.kind));
}

function pushCard({ kind, tells, presets }) {
    let inputs = [];
    const failure = h('p', { class: 'bad-text', role: 'alert' });
    const fields = h('div', { class: 'event-fields' });
    const button = h('button', { type: 'button', class: 'push', onclick: push }, kind);

    function fill({ fields: values }) {
        inputs = Object.entries(values).map(([name, value]) => h('input', { name, value, id: `${kind}-${name}`, spellcheck: 'false' }));
        fields.replaceChildren(...inputs.map(input => h('label', { for: input.id }, h('span', {}, input.name), input)));
    }

    async function push() {
        const { error } = await lab('event', { name: kind, ...Object.fromEntries(inputs.map(input => [input.name, parse(input.value)])) });
        failure.textContent = error;
        if (!error) {
            flash(button);
            say(`Pushed ${kind}; the notification follows within 200 ms.`);
        }
    }

    fill(presets[0]);
    const choice = presets.length > 1 && h('select', { 'aria-label': `Example of ${kind}`, onchange: event => fill(presets[event.target.value]) },
        presets.map(({ title }, at) => h('option', { value: at }, title)));
    const more = h('div', { hidden: true, id: `more-${kind}` }, choice, fields);
    const opener = h('button', { type: 'button', class: 'quiet', 'aria-expanded': 'false', 'aria-controls': more.id, 'aria-label': `Fields of ${kind}`, onclick: () => {
        more.hidden = !more.hidden;
        opener.setAttribute('aria-expanded', !more.hidden);
    } }, 'Fields');
    return h('li', {}, h('div', { class: 'push-row' }, button, h('span', { class: 'muted tells-what' }, tells), opener), more, failure);
}

// --- The list ---

const oneLine = ({ at, object, name, message }) => JSON.stringify({ time: at / 1000, object, name, message });

const row = entry => h('li', { class: 'event' }, h('details', {},
    h('summary', {}, h('time', { class: 'number' }, clock(entry.at)), h('code', { class: 'event-object' }, entry.object),
        h('span', { class: 'badge tells' }, entry.name), h('span', { class: 'event-text' }, short(entry.message))),
    h('pre', { tabindex: 0 }, JSON.stringify(entry.message, null, 2))));

const mostShown = 300;

export function show(root) {
    const list = h('ol', { class: 'events', 'aria-label': 'Notifications, the newest first', reversed: true });
    const nothing = h('p', { class: 'empty muted' }, 'Nothing yet. Push an event, or change something.');
    const count = h('span', { class: 'muted' });
    const filter = h('input', { type: 'search', class: 'small', placeholder: 'Filter', 'aria-label': 'Filter the notifications', oninput: draw });
    const pause = h('button', { type: 'button', 'aria-pressed': 'false', onclick: () => setPaused(!paused) }, 'Pause');
    let paused = false;
    let until = Infinity;

    const wanted = entry => !filter.value || `${entry.object} ${entry.name} ${JSON.stringify(entry.message)}`.toLowerCase().includes(filter.value.toLowerCase());
    const shown = () => feed.notifications.filter(entry => entry.id <= until && wanted(entry)).slice(-mostShown);

    function tellCount() {
        const waiting = feed.notifications.filter(entry => entry.id > until).length;
        count.textContent = paused ? `paused, ${waiting} waiting` : `${shown().length} of ${feed.notifications.length}`;
        nothing.hidden = list.children.length > 0;
    }

    function draw() {
        list.replaceChildren(...shown().reverse().map(row));
        tellCount();
    }

    function setPaused(value) {
        paused = value;
        until = paused ? feed.notifications.at(-1)?.id ?? 0 : Infinity;
        pause.setAttribute('aria-pressed', paused);
        pause.textContent = paused ? 'Go on' : 'Pause';
        draw();
    }

    function add({ detail }) {
        if (!paused && wanted(detail)) {
            const node = row(detail);
            list.prepend(node);
            flash(node);
            while (list.children.length > mostShown)
                list.lastElementChild.remove();
        }
        tellCount();
    }

    root.append(h('div', { class: 'page' },
        h('div', { class: 'page-head' }, h('h1', { tabindex: -1, 'data-focus': true }, 'Events')),
        h('div', { class: 'beside' },
            h('section', { class: 'card', 'aria-label': 'Push an event' }, h('div', { class: 'card-head' }, h('h2', {}, 'Push an event')),
                h('p', { class: 'hint' }, 'As if the configuration service reported it: the daemon tells its subscribers, the settings stay as they are.'),
                h('ul', { class: 'push-list' }, kinds().map(pushCard))),
            h('section', { class: 'card grow', 'aria-label': 'Notifications' },
                h('div', { class: 'card-head' }, h('h2', {}, 'Notifications'), count,
                    h('div', { class: 'tools' }, filter, pause,
                        h('button', { type: 'button', onclick: () => copy(shown().map(oneLine).join('\n'), 'the notifications as lines of JSON') }, 'Copy'),
                        h('button', { type: 'button', onclick: () => { feed.notifications.length = 0; draw(); } }, 'Clear'))),
                nothing, list))));
    draw();
    return feed.listen({ notification: add });
}
