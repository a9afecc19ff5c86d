// The mesh as this node sees it: the node above, this one, its networks, the stations on them.

import { h } from './dom.js';
import { colonMac, plainMac } from './format.js';

const rowHeight = 22;
const mostStations = 8;
const bands = { g24: '2.4 GHz', g5: '5 GHz', wire: 'Cables' };
const links = { eth: 'Ethernet', '2.4G': '2.4 GHz', '5G': '5 GHz' };

// [{ title, band, stations: [{ mac, uprate, downrate }] }]
const networksOf = topology => [
    ...topology['2.4G'].map(network => ({ title: network.ssid, band: 'g24', stations: network.sta })),
    ...topology['5G'].map(network => ({ title: network.ssid, band: 'g5', stations: network.sta })),
    { title: 'Cables', band: 'wire', stations: topology.eth },
];

const short = (text, room) => text.length > room ? `${text.slice(0, room - 1)}…` : text;

const curve = (x1, y1, x2, y2) => `M${x1},${y1}C${(x1 + x2) / 2},${y1} ${(x1 + x2) / 2},${y2} ${x2},${y2}`;

function nodeBox(x, y, width, name, detail, extra = '') {
    return h('g', { class: `mesh-node ${extra}` },
        h('rect', { x, y: y - 21, width, height: 42, rx: 8 }),
        h('text', { x: x + width / 2, y: y - 3, 'text-anchor': 'middle', class: 'strong' }, name),
        h('text', { x: x + width / 2, y: y + 12, 'text-anchor': 'middle' }, detail));
}

export function drawMesh(topology, mesh, names, width) {
    const networks = networksOf(topology);
    const narrow = width < 380;
    const nodeWidth = narrow ? 78 : 88;
    const [netX, staX] = narrow ? [nodeWidth + 20, nodeWidth + 106] : [nodeWidth + 34, Math.max(nodeWidth + 154, width * 0.62)];
    const room = Math.floor((width - staX - 14) / 6.6);
    const netRoom = Math.floor((staX - netX - 34) / 6.6);
    const lines = [];
    const marks = [];
    let y = 12;
    const centres = networks.map(({ title, band, stations }) => {
        const label = narrow ? bands[band] : short(title, netRoom);
        const shown = stations.slice(0, mostStations);
        const rest = stations.length - shown.length;
        const rows = Math.max(shown.length + (rest > 0), 1);
        const centre = y + rows * rowHeight / 2;
        const lineX = Math.min(netX + 24 + label.length * 6.6, staX - 16);
        shown.forEach(({ mac, downrate, uprate }, at) => {
            const rowY = y + at * rowHeight + rowHeight / 2;
            lines.push(h('path', { class: `mesh-line ${band}`, d: curve(lineX, centre, staX - 4, rowY) }));
            marks.push(h('g', { class: `mesh-station ${band}` },
                h('title', {}, `${names.get(plainMac(mac)) ?? colonMac(mac)}: ${downrate} Mbit/s down, ${uprate} Mbit/s up`),
                h('circle', { cx: staX, cy: rowY, r: 4 }),
                h('text', { x: staX + 10, y: rowY + 4 }, short(names.get(plainMac(mac)) ?? plainMac(mac), room))));
        });
        if (rest > 0)
            marks.push(h('text', { class: 'mesh-rest', x: staX + 10, y: y + shown.length * rowHeight + 15 }, `and ${rest} more`));
        marks.push(h('g', { class: `mesh-net ${band}` },
            h('title', {}, title),
            h('circle', { cx: netX + 6, cy: centre, r: 5 }),
            h('text', { x: netX + 17, y: centre + 4 }, label)));
        y += rows * rowHeight + 10;
        return { centre, band };
    });
    const height = Math.max(y, 150);
    const middle = topology.bhalmac ? height * 0.68 : height / 2;
    centres.forEach(({ centre, band }) =>
        lines.push(h('path', { class: `mesh-line ${band}`, d: curve(nodeWidth, middle, netX, centre) })));
    if (topology.bhalmac) {
        lines.push(h('path', { class: 'mesh-line up', d: `M${nodeWidth / 2},62V${middle - 21}` }));
        marks.push(nodeBox(2, 36, nodeWidth - 4, 'Next node', plainMac(topology.bhalmac).slice(-6), 'above'),
            h('text', { class: 'mesh-rest', x: nodeWidth / 2 + 6, y: (62 + middle - 21) / 2 + 4 }, links[topology.type] ?? ''));
    }
    marks.push(nodeBox(2, middle, nodeWidth - 4, 'This node', mesh?.mode ?? ''));
    const count = networks.reduce((sum, network) => sum + network.stations.length, 0);
    return h('svg', { viewBox: `0 0 ${width} ${height}`, width, height, class: 'mesh', role: 'img',
        'aria-label': `This node with ${networks.length - 1} networks and ${count} stations` +
            (topology.bhalmac ? `, linked by ${links[topology.type] ?? 'an unknown medium'} to ${colonMac(topology.bhalmac)}` : '') },
        lines, marks);
}
