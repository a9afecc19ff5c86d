// All objects, and any method to call.

import { call, paths } from './bus.js';
import { descriptions, describe, failuresOf, families, explain, resolve, verdict } from './describe.js';
import { copy, h, tabs } from './dom.js';
import { askedLine } from './asked.js';
import * as feed from './feed.js';
import { buildForm } from './form.js';
import { milliseconds } from './format.js';
import { showReply } from './reply.js';
import { snippets } from './snippets.js';

const isEntry = file => file.object.endsWith('.N');
const entriesOf = (file, known) => known
    .filter(path => path.replace(/\.\d+$/, '.N') === `${file.object}.N` && describe(path)?.entry_of === file.object)
    .sort((one, other) => Number(one.split('.').at(-1)) - Number(other.split('.').at(-1)));

const link = (path, text, chosen, extra = {}) =>
    h('a', { href: `#/objects/${path}`, 'aria-current': chosen === path ? 'page' : null, ...extra }, text);

function chips(file, known, chosen) {
    const entries = entriesOf(file, known);
    return entries.length > 0 && h('span', { class: 'chips' }, entries.map(path =>
        link(path, path.split('.').at(-1), chosen, { class: 'chip', 'aria-label': path })));
}

// --- All of them ---

function showIndex(root, known) {
    const shown = [];
    const sections = families.map(([family, title]) => {
        const cards = descriptions.filter(file => file.family === family && !isEntry(file)).map(file => {
            const methods = Object.keys(file.methods);
            const node = h('li', { class: 'card object-card' },
                link(file.object, h('code', {}, file.object), ''), h('span', { class: 'object-title' }, file.title),
                h('p', { class: 'muted' }, methods.join(', '), Object.keys(file.notifications).length ? h('span', { class: 'badge tells' }, 'notifies') : null),
                chips(file, known, ''));
            shown.push({ node, text: `${file.object} ${file.title} ${methods.join(' ')} ${file.description}`.toLowerCase() });
            return node;
        });
        return h('section', {}, h('h2', {}, title), h('ul', { class: 'object-grid' }, cards));
    });
    const filter = h('input', { type: 'search', class: 'small', placeholder: 'Filter', 'aria-label': 'Filter objects and methods', oninput: () => {
        const wanted = filter.value.toLowerCase();
        shown.forEach(({ node, text }) => { node.hidden = !text.includes(wanted); });
        sections.forEach(section => { section.hidden = !section.querySelector('li:not([hidden])'); });
    } });
    root.append(h('div', { class: 'page' },
        h('div', { class: 'page-head' }, h('h1', { tabindex: -1, 'data-focus': true }, 'Objects'), filter), sections));
}

// --- One of them ---

const wide = matchMedia('(min-width: 900px)');

function sideList(known, chosen) {
    const groups = families.map(([family, title]) => h('div', {}, h('h2', {}, title), h('ul', {},
        descriptions.filter(file => file.family === family && !isEntry(file)).map(file =>
            h('li', {}, link(file.object, file.object.replace(/^wexond\./, ''), chosen), chips(file, known, chosen))))));
    return h('nav', { class: 'side', 'aria-label': 'Objects' }, h('details', { open: wide.matches },
        h('summary', {}, 'All objects'), h('a', { href: '#/objects' }, 'Overview'), groups));
}

function aboutMethod(method) {
    const notes = [
        method.slow && `Takes its time: ${method.slow[0].toLowerCase()}${method.slow.slice(1)}`,
        method.silent && `No reply ${method.silent}.`,
    ].filter(Boolean);
    return [h('p', {}, method.description), notes.length > 0 && h('ul', {}, notes.map(note => h('li', {}, note)))];
}

function failureTable(method, reason) {
    const hit = reason ? explain(method, reason) : [];
    const rows = failuresOf(method);
    return rows.length > 0 && h('section', { class: 'card', 'aria-label': 'How it can fail' }, h('div', { class: 'card-head' }, h('h2', {}, 'How it can fail')),
        h('dl', { class: 'failures' }, rows.map(({ text, when }) => h('div', { class: hit.some(one => one.text === text && one.when === when) ? 'hit' : '' },
            h('dt', {}, h('code', {}, text)), h('dd', {}, when)))));
}

// Who takes curl takes it for the next call too.
const snippetChoice = { chosen: 0 };

function snippetTabs(path, name, argument, secrets) {
    return tabs('The same call elsewhere', snippets(path, name, argument, secrets).map(([title, exact, shown]) => [title,
        h('div', { class: 'snippet' }, h('pre', { tabindex: 0, 'aria-label': `The call for ${title}` }, shown),
            h('button', { type: 'button', class: 'quiet copy', onclick: () => copy(exact, `the call for ${title}`) }, 'Copy'))]), snippetChoice);
}

function exampleReply(method) {
    const example = method.examples.find(one => one.reply);
    return h('div', { class: 'example' },
        h('p', { class: 'muted' }, example ? `Not called yet. An example, “${example.title}”:` : 'Not called yet. It never replies.'),
        example && showReply(example.reply, method));
}

// What the object tells about the arguments now, where it can be asked without doing anything.
async function presentValues(path, file, name) {
    const get = file.methods.get;
    if (name !== 'set' || !get || get.examples.every(example => example.reply?.result === '1'))
        return null;
    const { reply } = await call(path, 'get', {}, { background: true });
    return reply && typeof reply[path] === 'object' ? reply[path] : null;
}

function showMethod(path, file, name) {
    const method = file.methods[name];
    const form = buildForm(method, drawSnippets);
    const snippetBox = h('div');
    const replyBox = h('div', { 'aria-live': 'polite' }, exampleReply(method));
    const state = h('span', { class: 'muted' });
    const failures = h('div', {}, failureTable(method));
    const anyway = h('input', { type: 'checkbox', id: 'anyway' });
    const button = h('button', { class: 'primary' }, `Call ${name}`);
    let made = null;
    let asked = null;
    let drawn = '';

    function drawSnippets() {
        form.judge({ quietly: true });
        const argument = form.read();
        const signature = JSON.stringify(argument);
        if (drawn === signature) // a click there makes the field that is left say once more what it holds
            return;
        drawn = signature;
        snippetBox.replaceChildren(snippetTabs(path, name, argument, form.secrets()));
    }

    function drawAsked() {
        const lines = feed.requests.filter(line => line.call === made?.id);
        asked?.replaceChildren(...lines.map(line => askedLine(line, made.begin)));
        asked?.parentNode.classList.toggle('none', lines.length === 0);
    }

    function drawReply() {
        const { good, title, text } = verdict(made, method);
        state.textContent = milliseconds(made.took);
        asked = h('ul', { class: 'asked-list' });
        replyBox.replaceChildren(...[
            h('p', { class: good ? 'verdict good' : 'verdict bad' }, h('b', {}, title), text && ` ${text}`),
            made.reply && showReply(made.reply, method),
            h('div', { class: 'asked-box' }, h('h3', {}, 'What the daemon asked the service'), asked)].filter(Boolean));
        failures.replaceChildren(...[failureTable(method, made.reply?.failreason)].filter(Boolean));
        drawAsked();
    }

    async function onsubmit(event) {
        event.preventDefault();
        if (!form.judge() && !anyway.checked)
            return;
        button.disabled = true;
        state.textContent = 'waiting …';
        made = await call(path, name, form.read());
        button.disabled = false;
        drawReply();
        showPresent();
    }

    const showPresent = () => presentValues(path, file, name).then(values => values && form.present(values));
    const examples = method.examples.filter(example => example.arguments && (!example.object || example.object === path));
    drawSnippets();
    showPresent();
    const hasArguments = Object.keys(method.arguments ?? {}).length > 0;
    const node = h('div', {},
        h('div', { class: 'about' }, aboutMethod(method)),
        h('div', { class: hasArguments ? 'call' : 'call bare' },
            h('form', { class: 'card', 'aria-label': `Arguments of ${name}`, novalidate: true, onsubmit },
                hasArguments && h('div', { class: 'card-head' }, h('h2', {}, 'Arguments')),
                examples.length > 0 && h('p', { class: 'fill' }, h('span', { class: 'muted' }, 'Fill in '), examples.map(example =>
                    h('button', { type: 'button', class: 'chip', onclick: () => { form.write(example.arguments); drawSnippets(); } }, example.title))),
                form.node,
                h('div', { class: 'send' }, button,
                    hasArguments ? h('label', { for: 'anyway' }, anyway, 'also with what is wrong here') : h('span', { class: 'muted' }, 'takes no arguments'))),
            h('section', { class: 'card', 'aria-label': 'Reply' }, h('div', { class: 'card-head' }, h('h2', {}, 'Reply'), state), replyBox)),
        h('section', { class: 'card', 'aria-label': 'The same call elsewhere' }, h('div', { class: 'card-head' }, h('h2', {}, 'The same call elsewhere')), snippetBox),
        failures);
    return { node, end: feed.listen({ request: drawAsked }) };
}

function notificationList(file) {
    const entries = Object.entries(file.notifications);
    return entries.length > 0 && h('section', { class: 'card', 'aria-label': 'Notifications' },
        h('div', { class: 'card-head' }, h('h2', {}, 'Notifications'), h('a', { href: '#/events' }, 'Watch')),
        h('dl', { class: 'failures' }, entries.map(([name, notification]) => h('div', {}, h('dt', {}, h('code', {}, name)),
            h('dd', {}, notification.when, ' ', Object.entries(notification.message).map(([key, value]) =>
                h('span', { class: 'key' }, h('code', {}, key), ` ${resolve(value).description ?? ''} `)))))));
}

function showObject(root, known, path, wanted) {
    const file = describe(path);
    if (!file) {
        root.append(h('div', { class: 'page' }, h('h1', {}, 'Objects'), h('p', { class: 'note bad' }, `Nothing is known of ${path}.`)));
        return null;
    }
    const names = Object.keys(file.methods);
    const chosen = names.includes(wanted) ? wanted : names.find(name => file.methods[name].access === 'read') ?? names[0];
    const there = known.includes(path);
    const method = showMethod(path, file, chosen);
    root.append(h('div', { class: 'page with-side' }, sideList(known, path),
        h('div', { class: 'content' },
            h('h1', { tabindex: -1, 'data-focus': true }, h('code', {}, path)),
            h('p', { class: 'muted' }, `${file.title}. ${file.description}`),
            !there && h('p', { class: 'note bad' }, 'This object is not on the bus now.'),
            h('nav', { class: 'methods', 'aria-label': 'Methods' }, names.map(name =>
                h('a', { href: `#/objects/${path}/${name}`, 'aria-current': name === chosen ? 'page' : null }, name,
                    file.methods[name].access === 'write' && [' ', h('span', { class: 'writes' }, 'changes')]))),
            method.node, notificationList(file))));
    return method.end;
}

export function show(root, [path, method]) {
    let end = null;
    let gone = false;
    paths().then(known => {
        if (gone)
            return;
        if (path)
            end = showObject(root, known, path, method);
        else
            showIndex(root, known);
        root.querySelector('[data-focus]')?.focus({ preventScroll: true });
    });
    return () => {
        gone = true;
        end?.();
    };
}
