// Requests of the daemon to the service, as lines.

import { h } from './dom.js';
import { milliseconds } from './format.js';

const text = value => value === null || value === undefined ? '' : JSON.stringify(value);
const name = line => line.name.replace(/^ORVC_/, '');

export const isBad = line => line.code !== 0 || line.fault !== undefined;

export const askedLine = (line, start) => h('li', { class: isBad(line) ? 'asked bad' : 'asked' },
    h('details', {},
        h('summary', {},
            h('span', { class: 'number when' }, `+${Math.max(0, line.at - start).toFixed(1)} ms`),
            h('code', { class: 'asked-name' }, name(line)),
            h('span', { class: 'type' }, line.type),
            line.fault && h('span', { class: 'badge fault' }, `fault ${line.fault}`),
            line.code !== 0 && h('span', { class: 'badge refused' }, `${line.code} ${line.reason}`),
            h('span', { class: 'number took' }, milliseconds(line.latency_us / 1000))),
        h('dl', { class: 'tree' },
            h('div', {}, h('dt', {}, 'request'), h('dd', {}, h('code', {}, text(line.request) || 'empty'))),
            h('div', {}, h('dt', {}, 'answer'), h('dd', {}, h('code', {}, text(line.answer) || 'only the code'))))));
