// The router at a glance: what is asked, and when.

import { accessDenied, call, userName } from './bus.js';
import * as cards from './cards.js';
import * as describe from './describe.js';
import { h } from './dom.js';
import * as feed from './feed.js';
import { plainMac } from './format.js';

// --- What is asked ---

async function ask(object, method = 'get', argument = {}) {
    const outcome = await call(object, method, argument, { background: true });
    if (outcome.error?.code === accessDenied)
        return { denied: true };
    if (outcome.status !== 0 || outcome.error || outcome.reply?.result === '1')
        return { failed: describe.verdict(outcome).title };
    return { data: outcome.reply[object] ?? outcome.reply.bhinfo ?? outcome.reply };
}

// --- The view ---

export function show(root) {
    const title = h('h1', { tabindex: -1, 'data-focus': true }, 'Router');
    const about = h('p', { class: 'muted' });
    const internet = cards.internetCard(userName());
    const router = cards.routerCard();
    const radios = { 1: cards.radioCard(1), 2: cards.radioCard(2) };
    const stationList = cards.stationsCard();
    const meshPicture = cards.meshCard();
    const lately = cards.latelyCard();
    root.append(h('div', { class: 'page' },
        h('div', { class: 'page-head' }, h('div', {}, title, about)),
        h('div', { class: 'grid' }, internet.node, router.node, radios[1].node, radios[2].node, stationList.node,
            h('div', { class: 'span-5 stack' }, meshPicture.node, lately.node))));

    let stations = [];
    let topology = null;
    let mesh = null;
    let wanDenied = false;
    const points = { 1: null, 2: null };
    const counters = { 1: null, 2: null };

    const jobs = [
        [0, device], [2000, wan], [10000, radiosNow], [15000, pointsNow], [10000, stationsNow], [10000, diagnostics],
        [5000, statisticsNow], [30000, topologyNow], [60000, switches], [60000, scores],
    ].map(([every, run]) => ({ every, run, due: 0, busy: false }));

    async function device() {
        const { data } = await ask('wexond.devinfo');
        if (!data)
            return;
        title.textContent = data.model;
        about.textContent = [data.description, `firmware ${data.swversion}`, data.ipaddr, `${data.workmode} mode`].join(' · ');
    }

    async function wan() {
        if (wanDenied) {
            internet.updateFrom(stations);
            return;
        }
        const { data, denied, failed } = await ask('wexond.waninfo');
        wanDenied = denied === true;
        if (data)
            internet.update(data);
        else if (failed)
            internet.fail(`No answer: ${failed}`);
    }

    async function radiosNow() {
        for (const radio of [1, 2]) {
            const { data } = await ask(`wexond.wifi.${radio}`);
            if (data)
                radios[radio].update(data);
        }
    }

    async function scores() {
        for (const radio of [1, 2]) {
            const { data } = await ask(`wexond.wifi.${radio}`, 'channelscore');
            if (data)
                radios[radio].scores(data);
        }
    }

    async function pointsNow() {
        for (const radio of [1, 2])
            await pointsOf(radio);
    }

    async function statisticsNow() {
        for (const radio of [1, 2])
            await statisticsOf(radio);
    }

    // Without the right to see passwords the topology still names the networks.
    async function pointsOf(radio) {
        if (points[radio]?.denied)
            return;
        const { data, denied } = await ask(`wexond.wifi.${radio}.ap`, 'list');
        if (denied) {
            points[radio] = { denied: true };
            radios[radio].denied();
        } else if (data) {
            points[radio] = data;
        }
        drawPoints(radio);
    }

    function drawPoints(radio) {
        const named = points[radio]?.denied
            ? (topology?.[cards.bandOf[radio]] ?? []).map(({ ssid }, at) => ({ idx: at + 1, ssid, auth: '', enable: 'yes', readOnly: true })) : points[radio];
        if (named)
            radios[radio].points(named.map((point, at) => ({
                ...point,
                stations: stations.filter(station => station.active && station.band === cards.bandOf[radio] && station.ssid === point.ssid).length,
                ...(points[radio].denied ? {} : counters[radio]?.rates[at]),
            })));
    }

    async function statisticsOf(radio) {
        const { data } = await ask(`wexond.wifi.${radio}.ap`, 'stats');
        if (!data)
            return;
        const before = counters[radio];
        const at = Date.now();
        const each = (key, index) => Math.max(0, (Number(data[index][key]) - Number(before.data[index][key])) * 8 / (at - before.at));
        const rates = data.map((_, index) =>
            before?.data[index] ? { sent: each('txbytes', index), received: each('rxbytes', index) } : {});
        counters[radio] = { at, data, rates };
        drawPoints(radio);
    }

    async function stationsNow() {
        const { data } = await ask('wexond.laninfo', 'list');
        if (!data)
            return;
        stations = data;
        lately.update(stations);
        drawStations();
    }

    function drawStations() {
        stationList.update(stations);
        drawPoints(1);
        drawPoints(2);
        drawMeshNow();
    }

    function drawMeshNow() {
        if (topology)
            meshPicture.update(topology, mesh, stations);
    }

    async function topologyNow() {
        mesh = (await ask('wexond.wifi.mesh')).data ?? mesh;
        topology = (await ask('wexond.wifi.mesh', 'topo')).data ?? topology;
        drawMeshNow();
    }

    async function diagnostics() {
        const { data, failed } = await ask('wexond.diagnostics');
        router.fail(failed ? `No answer: ${failed}` : '');
        if (data)
            router.diagnostics(data);
    }

    async function switches() {
        const led = await ask('wexond.ledswitch');
        if (led.data)
            router.led(led.data);
        const wifi = await ask('wexond.wifi');
        if (wifi.data)
            router.wifi(wifi.data);
    }

    // --- When ---

    async function run(job) {
        if (job.busy)
            return;
        job.busy = true;
        job.due = job.every ? Date.now() + job.every : Infinity;
        await job.run();
        job.busy = false;
    }

    const soon = (...runs) => jobs.filter(job => runs.includes(job.run)).forEach(job => { job.due = 0; });

    function tick() {
        if (document.visibilityState === 'visible')
            jobs.filter(job => job.due <= Date.now()).forEach(run);
    }

    function notice(notification) {
        const { object, message } = notification;
        lately.update(stations);
        if (object === 'wexond.waninfo') {
            internet.notice(message);
            soon(wan);
        } else if (object === 'wexond.ledswitch') {
            router.led(message);
        } else if (object === 'wexond.wifi' && !message.stamac) {
            router.wifi(message);
        } else if (/^wexond\.wifi\.[12]$/.test(object)) {
            radios[object.at(-1)].notice(message);
            soon(radiosNow);
        } else if (/^wexond\.wifi\.[12]\.ap\.\d+$/.test(object)) {
            noticeName(object.split('.'), message.ssid);
        } else if (object === 'wexond.laninfo') {
            noticeStation(message);
            soon(stationsNow, topologyNow);
        }
        tick();
    }

    function noticeName([, , radio, , index], ssid) {
        const point = Array.isArray(points[radio]) && points[radio].find(({ idx }) => idx === Number(index));
        if (point) {
            point.ssid = ssid;
            drawPoints(radio);
        }
        soon(pointsNow, stationsNow, topologyNow);
    }

    function noticeStation({ mac, active }) {
        const station = stations.find(one => one.mac === plainMac(mac));
        if (!station || active === undefined)
            return;
        station.active = active;
        drawStations();
    }

    const stopListening = feed.listen({ notification: event => notice(event.detail) });
    const timer = setInterval(tick, 1000);
    document.addEventListener('visibilitychange', tick);
    tick();
    return () => {
        clearInterval(timer);
        document.removeEventListener('visibilitychange', tick);
        meshPicture.end();
        stopListening();
    };
}
