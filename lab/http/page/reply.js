// A reply, explained by its description.

import { meaning, resolve } from './describe.js';
import { h, tabs } from './dom.js';

const dots = '••••••••';

function hasSecret(value, description) {
    if (description?.['x-secret'])
        return value !== '';
    if (Array.isArray(value))
        return value.some(element => hasSecret(element, resolve(description?.items)));
    if (value && typeof value === 'object')
        return Object.entries(value).some(([key, inner]) => hasSecret(inner, resolve(description?.properties?.[key])));
    return false;
}

function masked(value, description) {
    if (description?.['x-secret'])
        return value === '' ? '' : dots;
    if (Array.isArray(value))
        return value.map(element => masked(element, resolve(description?.items)));
    if (value && typeof value === 'object')
        return Object.fromEntries(Object.entries(value).map(([key, inner]) => [key, masked(inner, resolve(description?.properties?.[key]))]));
    return value;
}

const scalar = (value, description) => [
    h('code', { class: 'value' }, value === '' ? '""' : String(value)),
    description?.unit && h('span', { class: 'unit' }, description.unit),
    meaning(description, value) && h('span', { class: 'means' }, meaning(description, value)),
];

const titleOf = element => [element.idx !== undefined && `${element.idx}`, element.devname ?? element.name ?? element.ssid ?? element.servicename ?? element.mac ?? element.bssid ?? element.weekday]
    .filter(Boolean).join(' · ');

function tree(value, description) {
    if (Array.isArray(value)) {
        const items = resolve(description?.items);
        if (value.length === 0)
            return h('span', { class: 'muted' }, 'an empty list');
        if (value.every(element => typeof element !== 'object'))
            return h('span', { class: 'list' }, value.map(element => h('span', {}, scalar(element, items))));
        return h('div', { class: 'elements' }, value.map((element, at) =>
            h('details', { open: value.length < 3 }, h('summary', {}, titleOf(element) || `Element ${at + 1}`), tree(element, items))));
    }
    if (value && typeof value === 'object')
        return h('dl', { class: 'tree' }, Object.entries(value).map(([key, inner]) => {
            const about = resolve(description?.properties?.[key]);
            return h('div', {}, h('dt', { title: about?.description }, key), h('dd', {}, tree(inner, about)));
        }));
    return h('span', {}, scalar(value, description));
}

export function showReply(reply, method) {
    const description = { properties: reply.result === '1' && !method.reply?.result ? {} : entryKeys(reply, method) };
    const box = h('div');
    const button = h('button', { type: 'button', class: 'quiet', 'aria-pressed': 'false', onclick: () => draw(button.getAttribute('aria-pressed') !== 'true') });
    function draw(shown) {
        const value = shown ? reply : masked(reply, description);
        button.setAttribute('aria-pressed', shown);
        button.textContent = shown ? 'Hide secrets' : 'Show secrets';
        box.replaceChildren(tabs('Form of the reply', [
            ['Explained', tree(value, description)],
            ['JSON', h('pre', { tabindex: 0 }, JSON.stringify(value, null, 2))],
        ]));
    }
    draw(false);
    return h('div', { class: 'reply' }, hasSecret(reply, description) && button, box);
}

// Descriptions of entries name their key with N for the number.
const entryKeys = (reply, method) => Object.fromEntries(Object.keys(reply).map(key =>
    [key, method.reply?.[key] ?? method.reply?.[key.replace(/\.\d+$/, '.N')] ?? {}]));
