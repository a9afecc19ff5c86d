// A method's arguments as a form, made from their description.

import { meaning, resolve } from './describe.js';
import { h } from './dom.js';

const typeOf = description => description['x-sent'] ?? description['x-bus'];
const typeNames = { STRING: 'text', INT32: 'number', INT64: 'number', INT16: 'number', BOOL: 'yes or no', ARRAY: 'list', TABLE: 'table' };
const byteLength = text => new TextEncoder().encode(text).length;

// --- Checks: what is wrong with a value, or '' ---

function checkNumber(value, description) {
    const least = description.minimum ?? -2147483648;
    const most = description.maximum ?? 2147483647;
    if (!Number.isInteger(value))
        return 'a whole number is wanted';
    return value < least || value > most ? `from ${least} to ${most}` : '';
}

function checkText(value, description) {
    if (description.maxLength !== undefined && byteLength(value) > description.maxLength)
        return `${byteLength(value)} bytes, and at most ${description.maxLength} fit: longer ones are ${description['x-longer'] ?? 'refused'}`;
    if (description.pattern && !new RegExp(description.pattern).test(value))
        return `${description.format ?? `like ${description.pattern}`} is wanted${description['x-unknown'] ? `; otherwise: ${description['x-unknown']}` : ''}`;
    return '';
}

function checkList(value, description) {
    const items = resolve(description.items);
    if (description.maxItems !== undefined && value.length > description.maxItems)
        return `${value.length} elements, and at most ${description.maxItems} count`;
    for (const [at, element] of value.entries()) {
        const wrong = check(element, items);
        if (wrong)
            return `element ${at + 1}: ${wrong}`;
    }
    return '';
}

function check(value, description) {
    if (description.enum)
        return description.enum.includes(value) ? '' : 'one of the choices is wanted';
    switch (typeOf(description)) {
    case 'ARRAY': return checkList(value, description);
    case 'TABLE': return Object.entries(description.properties).map(([key, inner]) => {
        const wrong = check(value[key], resolve(inner));
        return wrong && `${key}: ${wrong}`;
    }).find(Boolean) ?? '';
    case 'STRING': return checkText(value, description);
    default: return checkNumber(value, description);
    }
}

// --- Inputs: { node, read(), write(value) } ---

function choiceInput(id, description) {
    const options = description.enum.map((value, at) => {
        const means = meaning(description, value);
        return h('option', { value: at }, means ? `${value} – ${means}` : String(value));
    });
    const node = h('select', { id }, h('option', { value: '' }, 'choose …'), options);
    return {
        node,
        read: () => description.enum[node.value],
        write: value => { node.value = description.enum.indexOf(value) < 0 ? '' : description.enum.indexOf(value); },
    };
}

function numberInput(id, description) {
    const node = h('input', { id, type: 'number', step: 1, min: description.minimum, max: description.maximum, inputmode: 'numeric' });
    return {
        node: description.unit ? h('span', { class: 'with-unit' }, node, h('span', { class: 'unit' }, description.unit)) : node,
        read: () => node.value === '' ? NaN : Number(node.value),
        write: value => { node.value = value; },
    };
}

function textInput(id, description) {
    const node = h('input', { id, type: 'text', autocomplete: 'off', spellcheck: 'false' });
    return { node, read: () => node.value, write: value => { node.value = value; } };
}

function secretInput(id) {
    const node = h('input', { id, type: 'password', autocomplete: 'new-password', spellcheck: 'false' });
    const button = h('button', { type: 'button', class: 'quiet', 'aria-pressed': 'false', onclick: () => {
        const shown = node.type === 'password';
        node.type = shown ? 'text' : 'password';
        button.setAttribute('aria-pressed', shown);
        button.textContent = shown ? 'Hide' : 'Show';
    } }, 'Show');
    return { node: h('span', { class: 'with-unit' }, node, button), read: () => node.value, write: value => { node.value = value; } };
}

// Few numbers that can be there or not, such as weekdays.
function setInput(id, items) {
    const values = Array.from({ length: items.maximum - items.minimum + 1 }, (_, at) => items.minimum + at)
        .filter(value => !(value === 0 && meaning(items, 0) === meaning(items, 7)));
    const boxes = values.map((value, at) => h('input', { type: 'checkbox', id: at ? `${id}-${value}` : id, value }));
    return {
        node: h('span', { class: 'choices', role: 'group' }, boxes.map(box =>
            h('label', { for: box.id }, box, meaning(items, box.value).slice(0, 3) || box.value))),
        read: () => boxes.filter(box => box.checked).map(box => Number(box.value)),
        write: list => boxes.forEach(box => { box.checked = list.includes(Number(box.value)); }),
    };
}

function numbersInput(id) {
    const node = h('input', { id, type: 'text', autocomplete: 'off', placeholder: '0 0 94 …' });
    return {
        node,
        read: () => node.value.split(/[\s,]+/).filter(Boolean).map(Number),
        write: list => { node.value = list.join(' '); },
    };
}

function linesInput(id) {
    const node = h('textarea', { id, rows: 3, spellcheck: 'false', placeholder: 'one a line' });
    return {
        node,
        read: () => node.value.split('\n').map(line => line.trim()).filter(Boolean),
        write: list => { node.value = list.join('\n'); },
    };
}

function rowsInput(id, items) {
    const rows = h('div', { class: 'rows' });
    const parts = new Map();
    function add(value = {}) {
        const inputs = Object.entries(items.properties).map(([key, description]) => {
            const input = inputFor(`${id}-${key}-${parts.size}`, resolve(description));
            if (value[key] !== undefined)
                input.write(value[key]);
            return [key, input];
        });
        const row = h('div', { class: 'row' }, inputs.map(([key, input]) => h('label', {}, key, input.node)),
            h('button', { type: 'button', class: 'quiet', onclick: () => { parts.delete(row); row.remove(); } }, 'Remove'));
        parts.set(row, inputs);
        rows.append(row);
    }
    return {
        node: h('div', {}, rows, h('button', { type: 'button', id, onclick: () => add() }, 'Add one')),
        read: () => [...parts.values()].map(inputs => Object.fromEntries(inputs.map(([key, input]) => [key, input.read()]))),
        write: list => {
            parts.clear();
            rows.replaceChildren();
            list.forEach(add);
        },
    };
}

function listInput(id, description) {
    const items = resolve(description.items);
    if (typeOf(items) === 'TABLE')
        return rowsInput(id, items);
    if (typeOf(items) === 'STRING')
        return linesInput(id);
    return items.maximum - items.minimum < 8 ? setInput(id, items) : numbersInput(id);
}

function inputFor(id, description) {
    if (description.enum)
        return choiceInput(id, description);
    if (typeOf(description) === 'ARRAY')
        return listInput(id, description);
    if (typeOf(description) !== 'STRING')
        return numberInput(id, description);
    return description['x-secret'] ? secretInput(id) : textInput(id, description);
}

// --- Fields: an input with what there is to say about it ---

const words = description => Object.entries(description['x-words'] ?? {})
    .filter(([, text]) => !['Monday', 'Sunday'].includes(text)).map(([value, text]) => `${value}: ${text}`).join(', ');

function limits(description) {
    const items = description.items ? resolve(description.items) : {};
    const range = one => one.minimum === undefined ? '' : `${one.minimum} to ${one.maximum}`;
    return [
        range(description) || range(items) && `each ${range(items)}`,
        description.maxLength && `at most ${description.maxLength} bytes`,
        description.maxItems && `at most ${description.maxItems}`,
        items.maxLength && `each at most ${items.maxLength} bytes`,
        description.format ?? items.format,
        !description.enum && words(description),
        description['x-unknown'] && `anything else: ${description['x-unknown']}`,
    ].filter(Boolean).join('; ');
}

function field(name, description, id, onChange) {
    const input = inputFor(id, description);
    const required = description.required === true;
    const send = h('input', { type: 'checkbox', 'aria-label': `Send ${name}`, title: 'Send this argument', onchange: onChange });
    send.checked = required;
    const wrong = h('p', { class: 'bad-text', id: `${id}-wrong` });
    const now = h('span', { class: 'hint now', hidden: true });
    const condition = typeof description.required === 'string' ? `Required ${description.required.replace(/^required /, '')}.` : '';
    const limit = limits(description);
    const hint = h('p', { class: 'hint', id: `${id}-hint` }, [`${description.description}.`, limit && `${limit[0].toUpperCase()}${limit.slice(1)}.`, condition]
        .filter(Boolean).join(' '));
    const control = input.node.matches('input, select, textarea') ? input.node : input.node.querySelector('input, button');
    control.setAttribute('aria-describedby', `${id}-hint ${id}-wrong`);
    if (input.node.matches('[role=group]'))
        input.node.setAttribute('aria-label', name);
    const oninput = () => {
        send.checked = true;
        onChange();
    };
    const node = h('div', { class: 'field' },
        h('div', { class: 'field-name' }, send, h('label', { for: id }, h('code', {}, name)),
            h('span', { class: 'type' }, typeNames[typeOf(description)]), now, required && h('span', { class: 'required' }, 'required')),
        h('div', { class: 'field-input', oninput, onchange: oninput, onclick: event => event.target.matches('.rows + button, .row button') && oninput() }, input.node),
        hint, wrong);

    return {
        node, name,
        read: () => send.checked ? input.read() : undefined,
        write: value => {
            send.checked = value !== undefined;
            if (value !== undefined)
                input.write(value);
        },
        judge: () => {
            const value = input.read();
            const text = send.checked ? check(value, description) : required ? 'required: the daemon refuses the call without it' : '';
            return text && text[0].toUpperCase() + text.slice(1);
        },
        mark: text => {
            wrong.textContent = text;
            control.setAttribute('aria-invalid', text !== '');
        },
        focus: () => control.focus(),
        present: value => {
            const means = meaning(description, value);
            const shown = description['x-secret'] && value !== '' ? '••••••••' : Array.isArray(value) ? value.join(', ') : String(value);
            now.hidden = false;
            now.replaceChildren('now ', h('code', {}, shown || 'empty'), means && shown ? `, ${means}` : '');
        },
        secret: description['x-secret'] === true,
    };
}

// { node, read(), judge(): whether nothing is wrong, write(arguments), present(values) }
export function buildForm(method, onChange) {
    const fields = Object.entries(method.arguments ?? {}).map(([name, description], at) =>
        field(name, resolve(description), `argument-${at}`, onChange));
    return {
        node: h('div', { class: 'fields' }, fields.map(one => one.node)),
        read: () => Object.fromEntries(fields.map(one => [one.name, one.read()])
            .filter(([, value]) => value !== undefined && !Number.isNaN(value))),
        judge({ quietly = false } = {}) {
            const wrong = fields.filter(one => {
                const text = one.judge();
                one.mark(quietly ? '' : text);
                return text;
            });
            if (wrong.length && !quietly)
                wrong[0].focus();
            return wrong.length === 0;
        },
        write: values => fields.forEach(one => {
            one.write(values[one.name]);
            one.mark('');
        }),
        present: values => fields.filter(one => values[one.name] !== undefined).forEach(one => one.present(values[one.name])),
        secrets: () => fields.filter(one => one.secret).map(one => one.name),
    };
}
