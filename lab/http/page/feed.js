// What happens on the bus and what the service is asked, kept for all views from the login on.

import { calls, happenings, stream } from './bus.js';

export const events = new EventTarget();
const tell = (name, detail) => events.dispatchEvent(new CustomEvent(name, { detail }));

// Notifications, the newest last: { id, at, object, name, message }.
export const notifications = [];
// Lines of the recording, the newest last: those of docs/lab.md with `at`, in this clock's milliseconds, and `call`, the id of
// the page's call during which the service was asked, or 0.
export const requests = [];

const mostNotifications = 1000;
const mostRequests = 3000;
let nextId = 1;
let ends = [];
export const connected = { notifications: false, requests: false };

function keep(list, most, entry) {
    list.push(entry);
    if (list.length > most)
        list.splice(0, list.length - most);
}

// The recording's clock may be another machine's: lines arrive soon after their time, so the least difference that was seen is
// about that of the clocks. Small ones are only the way here.
// Those from before come at once, however old they are.
let difference = Infinity;
let opened = 0;
const before = 200;
const beforeComesWithin = 1000;

function toHere(seconds) {
    if (Date.now() - opened > beforeComesWithin)
        difference = Math.min(difference, Date.now() - seconds * 1000);
    const isOther = Number.isFinite(difference) && Math.abs(difference) > 1000;
    return seconds * 1000 + (isOther ? difference : 0);
}

const slack = 15;

function callAt(at) {
    for (let index = calls.length - 1; index >= 0; index--) {
        const { begin, end, id, object } = calls[index];
        if (object.startsWith('wexond') && at >= begin - slack && at <= (end ?? Infinity) + slack)
            return id;
        if (end && end + 1000 < at)
            break;
    }
    return 0;
}

function addRequest(line) {
    const at = toHere(line.time);
    keep(requests, mostRequests, { ...line, id: nextId++, at, call: line.event === undefined ? callAt(at) : 0 });
    tell('request', requests.at(-1));
}

function addNotification({ object, name, message }) {
    keep(notifications, mostNotifications, { id: nextId++, at: Date.now(), object, name, message });
    tell('notification', notifications.at(-1));
}

export function start() {
    stop();
    opened = Date.now();
    const state = name => up => {
        connected[name] = up;
        tell('state');
    };
    ends = [
        stream('/lab/notifications', '', addNotification, state('notifications')),
        stream('/lab/requests', `&last=${before}`, addRequest, state('requests')),
    ];
}

export function stop() {
    ends.forEach(end => end());
    ends = [];
    notifications.length = requests.length = 0;
    calls.length = 0;
}

// A view's listeners, which end with it.
export function listen(pairs) {
    const targets = [events, happenings];
    for (const [name, handler] of Object.entries(pairs))
        targets.forEach(target => target.addEventListener(name, handler));
    return () => {
        for (const [name, handler] of Object.entries(pairs))
            targets.forEach(target => target.removeEventListener(name, handler));
    };
}
