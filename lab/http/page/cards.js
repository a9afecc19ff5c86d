// The cards of Home: each is made once and then told what there is.

import { h, icon, reconcile, setText } from './dom.js';
import * as feed from './feed.js';
import { clock, plainMac, rate, span } from './format.js';
import { drawMesh } from './mesh.js';
import { channelScores, createPlot, meter, signalBars } from './plot.js';

// Rates of the last minutes, kept while other views are shown. Who may see less gets others.
const samples = [];
let samplesFor = '';
const mostSamples = 300;
const mostLately = 8;

export const bandOf = { 1: '2.4G', 2: '5G' };
const bandClass = { '2.4G': 'g24', '5G': 'g5', '': 'wire' };
const bandText = { '2.4G': '2.4 GHz', '5G': '5 GHz', '': 'Cable' };

// --- Small pieces ---

const card = (title, extra, ...content) => {
    const head = h('div', { class: 'card-head' }, h('h2', {}, title), extra);
    return h('section', { class: 'card', 'aria-label': title }, head, ...content);
};

function pill() {
    const node = h('span', { class: 'pill' });
    return { node, set: (text, kind) => {
        setText(node, text);
        node.className = `pill ${kind}${node.classList.contains('changed') ? ' changed' : ''}`;
    } };
}

// A list of names and values; set(name, text).
function facts(names) {
    const values = new Map(names.map(name => [name, h('dd')]));
    return {
        node: h('dl', { class: 'facts' }, names.map(name => h('div', {}, h('dt', {}, name), values.get(name)))),
        set: (name, text, options) => setText(values.get(name), text || '–', options),
    };
}

const failureNote = () => {
    const node = h('p', { class: 'note', hidden: true });
    return { node, set: text => {
        node.hidden = !text;
        node.textContent = text;
    } };
};

const deniedText = what => `${what} stand beside a password, which this user may not read. Log in as admin to see them.`;

// --- The cards ---

export function internetCard(user) {
    if (samplesFor !== user)
        samples.length = 0;
    samplesFor = user;
    const state = pill();
    const note = failureNote();
    const down = h('span', { class: 'big' });
    const up = h('span', { class: 'big' });
    const plots = { down: createPlot('Received', 'down'), up: createPlot('Sent', 'up') };
    const list = facts(['IPv4', 'Gateway', 'Name servers', 'IPv6', 'Connection', 'On line for']);
    const node = card('Internet', state.node, note.node,
        h('div', { class: 'wan' },
            h('div', { class: 'rate' }, h('p', { class: 'rate-label' }, icon('down'), 'Down ', down), plots.down.node),
            h('div', { class: 'rate' }, h('p', { class: 'rate-label' }, icon('up'), 'Up ', up), plots.up.node)),
        list.node);
    node.classList.add('span-8');

    function sample(downRate, upRate, isUp) {
        samples.push({ at: Date.now(), down: downRate, up: upRate, isUp });
        if (samples.length > mostSamples)
            samples.shift();
        setText(down, rate(downRate), { silent: true });
        setText(up, rate(upRate), { silent: true });
        for (const way of ['down', 'up'])
            plots[way].draw(samples.map(one => ({ at: one.at, value: one[way], up: one.isUp })));
    }

    function update(wan) {
        note.set('');
        list.node.hidden = false;
        state.set(wan.status === 'up' ? 'Up' : 'Down', wan.status === 'up' ? 'good' : 'bad');
        list.set('IPv4', wan.ipaddr);
        list.set('Gateway', wan.gateway);
        list.set('Name servers', [wan.dns1, wan.dns2].filter(Boolean).join(', '));
        list.set('IPv6', wan.status6 === 'up' ? wan.ipaddr6 : `${wan.ipaddr6 || ''} ${wan.status6}`.trim());
        list.set('Connection', `${wan.networktype}, ${rate(wan.negorate)} ${wan.duplexmode}`);
        list.set('On line for', span(wan.onlinetime), { silent: true });
        sample(Number(wan.downloadspeed), Number(wan.uploadspeed), wan.status === 'up');
    }

    // Without the right to ask for the WAN side there are still the stations' rates.
    function updateFrom(stations) {
        note.set(`${deniedText('The addresses')} The rates below are those of all stations together.`);
        list.node.hidden = true;
        const sum = key => stations.reduce((all, station) => all + Number(station[key]), 0);
        sample(sum('downloadspeed'), sum('uploadspeed'), true);
    }

    // What a notification tells is shown at once.
    function notice({ status, ipaddr }) {
        if (status)
            state.set(status === 'up' ? 'Up' : 'Down', status === 'up' ? 'good' : 'bad');
        if (ipaddr)
            list.set('IPv4', ipaddr);
    }

    return { node, update, updateFrom, notice, fail: text => note.set(text) };
}

export function routerCard() {
    const usage = Object.fromEntries([['cpuusage', 'Processor'], ['memusage', 'Memory'], ['flashusage', 'Flash']]
        .map(([key, label]) => [key, { label, bar: meter(label), text: h('span', { class: 'number' }) }]));
    const list = facts(['Temperature', 'LEDs', 'Wi-Fi', 'WPS button', 'Bands alike']);
    const note = failureNote();
    const node = card('Router', null, note.node,
        h('div', { class: 'meters' }, Object.values(usage).map(({ label, bar, text }) =>
            h('div', { class: 'meter-row' }, h('span', {}, label), bar.node, text))),
        list.node);
    node.classList.add('span-4');
    return {
        node,
        diagnostics(data) {
            for (const [key, { bar, text }] of Object.entries(usage)) {
                bar.set(data[key]);
                setText(text, `${data[key]} %`, { silent: true });
            }
            list.set('Temperature', `${data.cputemperature} °C`, { silent: true });
        },
        led: ({ status }) => list.set('LEDs', status),
        wifi(data) {
            for (const [key, name] of [['wifiswitch', 'Wi-Fi'], ['wpsswitch', 'WPS button'], ['elinksync', 'Bands alike']])
                if (data[key])
                    list.set(name, data[key]);
        },
        fail: text => note.set(text),
    };
}

const authText = { open: 'Open', share: 'WEP', wep: 'WEP', wpa: 'WPA', wpa2: 'WPA2', wpapsk: 'WPA', wpa2psk: 'WPA2', wpapskwpa2psk: 'WPA/WPA2' };
const widthText = { 0: '20 MHz', 1: '40 MHz', 2: 'automatic width', 3: '80 MHz', 4: '160 MHz' };

export function radioCard(radio) {
    const state = pill();
    const channel = h('span', { class: 'big' });
    const chosen = h('span', { class: 'muted' });
    const load = meter('Load of the channel');
    const loadText = h('span', { class: 'number' });
    const scores = h('div', { class: 'scores-box' });
    const points = h('ul', { class: 'points', 'aria-label': 'Access points' });
    const note = failureNote();
    const node = card(`${bandText[bandOf[radio]]} radio`, state.node,
        h('div', { class: 'radio' },
            h('div', {}, h('p', { class: 'rate-label' }, 'Channel ', channel), chosen),
            scores),
        h('div', { class: 'meter-row' }, h('span', {}, 'Load'), load.node, loadText),
        note.node, points);
    node.classList.add('span-6', bandClass[bandOf[radio]]);
    let scored = [];
    let current = 0;

    const drawScores = () => scores.replaceChildren(...(scored.length ? [channelScores(scored, current)] : []));

    function makePoint(point) {
        const path = `wexond.wifi.${radio}.ap.${point.idx}`;
        return h('li', { class: 'point' },
            h('span', { class: 'point-name' }),
            h('span', { class: 'point-detail muted' }),
            h('span', { class: 'point-rate number' }),
            h('a', { class: 'icon-link', href: `#/objects/${path}/set`, 'aria-label': `Change access point ${point.idx}`, title: 'Change' }, icon('edit')));
    }

    function updatePoint(row, point) {
        setText(row.querySelector('.point-name'), point.ssid || `Access point ${point.idx}`);
        const about = [point.enable === 'no' ? 'off' : authText[point.auth] ?? point.auth, point.hide && 'hidden',
            point.stations === 1 ? '1 station' : `${point.stations} stations`];
        setText(row.querySelector('.point-detail'), about.filter(Boolean).join(' · '));
        setText(row.querySelector('.point-rate'), point.enable === 'no' || point.sent === undefined ? '' : `↓ ${rate(point.sent)}  ↑ ${rate(point.received)}`, { silent: true });
        row.classList.toggle('off', point.enable === 'no');
        row.querySelector('a').hidden = point.readOnly === true;
    }

    return {
        node,
        update(data) {
            state.set(data.enable === 'yes' ? 'On' : 'Off', data.enable === 'yes' ? 'good' : 'idle');
            current = data.currentchannel;
            setText(channel, current);
            setText(chosen, `${data.channel ? 'fixed' : 'chosen by itself'}, ${widthText[data.bandwidth] ?? ''}, ${data.mode}`);
            load.set(parseInt(data.load, 10));
            setText(loadText, data.load.replace('%', ' %'), { silent: true });
            drawScores();
        },
        notice(data) {
            current = data.channel ?? current;
            setText(channel, current);
            drawScores();
        },
        scores(data) {
            scored = data;
            drawScores();
        },
        points: list => reconcile(points, list, point => point.idx, makePoint, updatePoint),
        denied: () => note.set(deniedText('Security and settings of the networks')),
    };
}

const accessText = { 0: 'No Wi-Fi', 1: 'No internet', 2: 'Internet' };
const limit = station => [station.dsbandwidth && `↓ ${rate(station.dsbandwidth)}`, station.usbandwidth && `↑ ${rate(station.usbandwidth)}`]
    .filter(Boolean).map(text => `≤ ${text}`).join(' ');

const orders = {
    Station: (one, other) => one.devname.localeCompare(other.devname, undefined, { numeric: true }),
    Signal: (one, other) => (other.rssi || -1) - (one.rssi || -1),
    Rate: (one, other) => Number(other.downloadspeed) - Number(one.downloadspeed),
};

export function stationsCard() {
    const count = h('span', { class: 'muted' });
    const filter = h('input', { type: 'search', placeholder: 'Filter', 'aria-label': 'Filter the stations', class: 'small', oninput: () => draw() });
    const body = h('tbody');
    let stations = [];
    let order = 'Station';

    const head = name => {
        const cell = h('th', { scope: 'col', class: `col-${name.toLowerCase()}` }, orders[name]
            ? h('button', { type: 'button', class: 'sort', onclick: () => { order = name; draw(); } }, name) : name);
        cell.dataset.name = name;
        return cell;
    };
    const heads = ['Station', 'Link', 'Signal', 'Rate', 'Access'].map(head);
    const node = card('Stations', [count, filter],
        h('div', { class: 'table-box', tabindex: 0, role: 'region', 'aria-label': 'List of the stations' },
            h('table', { class: 'stations', 'aria-label': 'Stations' }, h('thead', {}, h('tr', {}, heads)), body)));
    node.classList.add('span-7');

    const make = () => h('tr', {},
        h('td', { class: 'col-station' }, h('span', { class: 'name' }), h('span', { class: 'sub' })),
        h('td', { class: 'col-link' }, h('span', { class: 'badge' }), h('span', { class: 'sub' })),
        h('td', { class: 'col-signal' }, h('span', { class: 'signal' }), h('span', { class: 'number' })),
        h('td', { class: 'col-rate' }, h('span', { class: 'number' }), h('span', { class: 'number sub' })),
        h('td', { class: 'col-access' }, h('span', {}), h('span', { class: 'sub number' })));

    function update(row, station) {
        const [name, link, signal, speed, access] = row.cells;
        const on = station.active === 1;
        row.classList.toggle('off', !on);
        setText(name.firstChild, station.devname);
        setText(name.lastChild, [station.ipaddr, [station.brand, station.model].filter(Boolean).join(' ')].filter(Boolean).join(' · '), { silent: true });
        link.firstChild.className = `badge ${bandClass[station.band]}`;
        setText(link.firstChild, bandText[station.band], { silent: true });
        setText(link.lastChild, station.ssid || (station.connecttype ? '' : `port ${station.port}`), { silent: true });
        const wireless = on && station.connecttype === 1;
        signal.firstChild.replaceChildren(...(wireless ? [signalBars(station.rssi)] : []));
        setText(signal.lastChild, wireless ? `${String(station.rssi).replace('-', '−')} dBm` : '', { silent: true });
        setText(speed.firstChild, on ? `↓ ${rate(station.downloadspeed)}` : 'off line');
        speed.firstChild.classList.remove('changed');
        setText(speed.lastChild, on ? `↑ ${rate(station.uploadspeed)}` : '', { silent: true });
        setText(access.firstChild, accessText[station.internetaccess] ?? '');
        setText(access.lastChild, limit(station), { silent: true });
        access.firstChild.className = station.internetaccess === 2 ? '' : 'warn-text';
    }

    function draw() {
        const wanted = filter.value.toLowerCase();
        const shown = stations
            .filter(station => !wanted || Object.values(station).join(' ').toLowerCase().includes(wanted))
            .sort((one, other) => other.active - one.active || orders[order](one, other) || orders.Station(one, other));
        for (const cell of heads)
            cell.dataset.name === order ? cell.setAttribute('aria-sort', 'descending') : cell.removeAttribute('aria-sort');
        setText(count, `${stations.filter(station => station.active).length} of ${stations.length} on line`, { silent: true });
        reconcile(body, shown, station => station.mac, make, update);
    }

    return { node, update(list) {
        stations = list;
        draw();
    } };
}

export function meshCard() {
    const state = pill();
    const box = h('div', { class: 'mesh-box' });
    const node = card('Mesh', state.node, box);
    let latest = null;
    const draw = () => latest && box.replaceChildren(drawMesh(...latest, Math.max(box.clientWidth, 260)));
    const observer = new ResizeObserver(draw);
    observer.observe(box);
    return {
        node,
        update(topology, mesh, stations) {
            latest = [topology, mesh, new Map(stations.map(station => [plainMac(station.mac), station.devname]))];
            if (mesh)
                state.set(mesh.status === 'yes' ? 'In a mesh' : 'Alone', mesh.status === 'yes' ? 'good' : 'idle');
            draw();
        },
        end: () => observer.disconnect(),
    };
}

// --- A notification in words ---

const switchNames = { wifiswitch: 'Wi-Fi', wpsswitch: 'WPS', elinksync: 'Keeping the bands alike' };

function inWords({ object, name, message }, stations) {
    const who = mac => stations.find(station => station.mac === plainMac(mac))?.devname ?? mac;
    const kind = object.split('.').slice(1);
    switch (`${kind[0]} ${name}`) {
    case 'laninfo newdevice': return `New station ${message.hostname || message.mac}`;
    case 'laninfo devicestatus': return `${who(message.mac)} is ${message.active ? 'on' : 'off'} line`;
    case 'waninfo propertieschanged': return message.status ? `The internet is ${message.status}` : `New address ${message.ipaddr}`;
    case 'ledswitch propertieschanged': return `The LEDs are ${message.status}`;
    case 'wifi passworderror': return `Wrong Wi-Fi password from ${who(message.stamac)}`;
    case 'wifi notification': return `${who(message.roamingreport[0].mac)} reports how well it hears the access points`;
    case 'wifi newrecord': return `Probe request from ${who(message.mac)}`;
    case 'diagnostics pingresult': return `Ping: ${message.received} answers, ${message.avg} ms on average`;
    case 'diagnostics tracerouteresult': return 'A traceroute has a result';
    }
    if (message.ssid !== undefined)
        return `A ${bandText[bandOf[kind[1]]]} network is called ${message.ssid}`;
    if (message.channel !== undefined)
        return `The ${bandText[bandOf[kind[1]]]} radio is on channel ${message.channel}`;
    const [key, value] = Object.entries(message)[0] ?? [];
    return `${switchNames[key] ?? `${object} ${name} ${key}`}: ${value}`;
}

export function latelyCard() {
    const list = h('ol', { class: 'lately', role: 'log', 'aria-label': 'What happened lately, the newest first' });
    const nothing = h('p', { class: 'muted' }, 'Nothing yet.');
    const node = card('Lately', h('a', { href: '#/events' }, 'All events'), nothing, list);
    return { node, update(stations) {
        const shown = feed.notifications.slice(-mostLately).reverse();
        nothing.hidden = shown.length > 0;
        reconcile(list, shown, one => one.id,
            one => h('li', {}, h('time', { class: 'number muted' }, clock(one.at).slice(0, 8)), h('span', {}, inWords(one, stations))), () => {});
    } };
}
