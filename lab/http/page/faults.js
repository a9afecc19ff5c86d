// Faults of the configuration service, switched on and off.

import { lab } from './bus.js';
import { h, icon } from './dom.js';
import * as feed from './feed.js';

// As docs/lab.md tells them: word, what the service does, what becomes of a call; unit, default and least and most of N.
const faults = [
    ['silent', 'neither acts nor answers', 'Methods fail after 10 s.'],
    ['drop', 'acts, but does not answer', 'Methods fail after 10 s; what they set has changed.'],
    ['close', 'closes the connection instead', 'Methods fail.'],
    ['code', 'answers a return code alone', 'Methods fail.', { unit: 'Code', value: 4, most: 4294967295 }],
    ['delay', 'answers later', 'Methods answer later; beyond 10 s they fail.', { unit: 'Milliseconds', value: 2000, most: 3600000 }],
    ['short', 'leaves the last bytes of the record out', 'What reads sees zero there; what writes succeeds.', { unit: 'Bytes', value: 4, most: 16384 }],
    ['long', 'has more bytes', 'Nothing comes of it.', { unit: 'Bytes', value: 4, most: 65536 }],
    ['garbage', 'has bytes that mean nothing', 'What reads tells what they say.'],
];

const forText = length => !length ? '' : length.requests !== undefined ? `for ${length.requests} more requests` : `for ${length.seconds} s`;

export function faultsCard() {
    const active = h('ul', { class: 'active-faults', 'aria-label': 'Faults that are on' });
    const failure = h('p', { class: 'bad-text', role: 'alert' });
    const known = h('datalist', { id: 'known-types' });
    const target = h('input', { id: 'fault-type', list: 'known-types', value: 'all', spellcheck: 'false', autocomplete: 'off', onfocus: suggest });
    const value = h('input', { id: 'fault-value', type: 'number', min: 0 });
    const unit = h('label', { for: 'fault-value' });
    const valueRow = h('div', { class: 'short-field' }, unit, value);
    const length = h('input', { id: 'fault-for', type: 'number', min: 1, value: 1, 'aria-label': 'How many', hidden: true });
    const lengthKind = h('select', { id: 'fault-for-kind', onchange: () => { length.hidden = lengthKind.value === ''; } },
        h('option', { value: '' }, 'until switched off'), h('option', { value: 'requests' }, 'requests'), h('option', { value: 'seconds' }, 'seconds'));
    const becomes = h('p', { class: 'hint' });
    const choices = faults.map(([word, does], at) => h('label', { class: 'fault-choice', for: `fault-${word}` },
        h('input', { type: 'radio', name: 'fault', id: `fault-${word}`, value: at, checked: at === 3, onchange: choose }), h('code', {}, word), h('span', { class: 'muted' }, does)));
    let chosen = 3;
    let timer = 0;

    function choose(event) {
        chosen = event ? Number(event.target.value) : chosen;
        const [, , text, number] = faults[chosen];
        becomes.textContent = text;
        valueRow.hidden = !number;
        if (!number)
            return;
        value.value = number.value;
        value.max = number.most;
        unit.textContent = number.unit;
    }

    function suggest() {
        const names = [...new Set(feed.requests.filter(line => line.event === undefined).map(line => line.name))].sort();
        known.replaceChildren(...['all', ...names].map(name => h('option', { value: name })));
    }

    function draw({ answer, error }) {
        failure.textContent = error;
        if (!answer)
            return;
        active.replaceChildren(...answer.faults.map(one => h('li', {},
            h('span', {}, h('code', {}, one.type), ' ', h('b', {}, one.fault), ' ', h('span', { class: 'muted' }, forText(one.for))),
            h('button', { type: 'button', class: 'quiet', 'aria-label': `Switch off ${one.fault} of ${one.type}`, onclick: () => switchOff(one, answer.faults) }, icon('close', 12), 'Off'))));
        active.hidden = answer.faults.length === 0;
        clearTimeout(timer);
        if (answer.faults.some(one => one.for))
            timer = setTimeout(refresh, 1000);
    }

    const refresh = () => lab('faults').then(draw);

    // The service knows only how to end all: the others are played again.
    async function switchOff(ended, all) {
        let outcome = await lab('faults', { clear: true });
        for (const { type, fault, for: left } of all.filter(one => one !== ended && !outcome.error))
            outcome = await lab('faults', { type, fault, ...(left && { for: left }) });
        draw(outcome);
    }

    async function onsubmit(event) {
        event.preventDefault();
        const [word, , , number] = faults[chosen];
        draw(await lab('faults', {
            type: target.value.trim(),
            fault: number ? `${word}=${value.value}` : word,
            ...(lengthKind.value && { for: { [lengthKind.value]: Number(length.value) } }),
        }));
    }

    choose();
    refresh();
    const node = h('section', { class: 'card', 'aria-label': 'Faults' }, h('div', { class: 'card-head' }, h('h2', {}, 'Faults')),
        h('p', { class: 'hint' }, 'Let the service fail, and see what the daemon makes of it.'),
        active,
        h('form', { onsubmit, class: 'fault-form', 'aria-label': 'A fault to switch on' },
            h('label', { for: 'fault-type' }, 'Requests of type'), target, known,
            h('fieldset', {}, h('legend', {}, 'The service'), choices), becomes,
            valueRow,
            h('div', { class: 'short-field' }, h('label', { for: 'fault-for-kind' }, 'For'), h('span', { class: 'with-unit' }, length, lengthKind)),
            failure,
            h('button', { class: 'primary' }, 'Switch on')));
    return { node, end: () => clearTimeout(timer) };
}
