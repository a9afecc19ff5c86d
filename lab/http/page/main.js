// The frame around the views: log-in, navigation, colour scheme, state of the connection.

import * as bus from './bus.js';
import * as describe from './describe.js';
import { h, icon } from './dom.js';
import * as feed from './feed.js';
import * as events from './events.js';
import * as home from './home.js';
import * as objects from './objects.js';
import * as requests from './requests.js';

const views = { home, objects, events, requests };
const titles = { home: 'Home', objects: 'Objects', events: 'Events', requests: 'Requests' };

const main = document.getElementById('main');
const nav = document.querySelector('nav.views');
const leave = document.getElementById('leave');
const live = document.getElementById('live');

let leaveView = () => {};

function route() {
    const [, view = 'home', ...rest] = location.hash.split('/').map(decodeURIComponent);
    return views[view] ? { view, rest } : { view: 'home', rest: [] };
}

function clear() {
    leaveView();
    leaveView = () => {};
    main.replaceChildren();
}

async function show({ moveFocus }) {
    const loggedIn = bus.isLoggedIn();
    nav.hidden = leave.hidden = live.hidden = !loggedIn;
    if (!loggedIn) {
        clear();
        showLogin();
        return;
    }
    const { view, rest } = route();
    document.title = `${titles[view]} · wexond lab`;
    for (const link of nav.children)
        link.getAttribute('href') === `#/${view}` ? link.setAttribute('aria-current', 'page') : link.removeAttribute('aria-current');
    leave.replaceChildren('Log out ', h('span', { class: 'who' }, bus.userName()));
    clear();
    leaveView = views[view].show(main, rest) ?? (() => {});
    if (moveFocus)
        (main.querySelector('[data-focus]') ?? main).focus({ preventScroll: rest.length > 1 });
}

async function begin() {
    const error = await describe.load();
    if (!bus.isLoggedIn())
        return false;
    if (error) {
        clear();
        main.append(h('div', { class: 'page' }, h('p', { class: 'note bad', role: 'alert' }, error)));
        return false;
    }
    feed.start();
    return true;
}

function showLogin() {
    document.title = 'Log in · wexond lab';
    const failure = h('p', { class: 'bad-text', role: 'alert' });
    const name = h('input', { id: 'name', name: 'username', autocomplete: 'username', required: true, autocapitalize: 'none' });
    const password = h('input', { id: 'password', name: 'password', type: 'password', autocomplete: 'current-password', required: true });
    async function onsubmit(event) {
        event.preventDefault();
        failure.textContent = await bus.login(name.value, password.value);
        if (failure.textContent)
            password.select();
        else if (await begin())
            show({ moveFocus: true });
    }
    main.append(h('form', { class: 'card login', onsubmit },
        h('h1', {}, 'Log in'),
        h('p', { class: 'muted' }, 'A window on the lab: its router, its bus, and what goes on behind.'),
        h('label', { for: 'name' }, 'User'), name,
        h('label', { for: 'password' }, 'Password'), password,
        failure,
        h('button', { class: 'primary' }, 'Log in'),
        h('p', { class: 'hint' }, 'If the lab has its own users: ', h('b', {}, 'reader'), ' looks and ', h('b', {}, 'admin'),
            ' also changes things. The password is the name.')));
    name.focus();
}

// --- The bar ---

const schemes = ['auto', 'light', 'dark'];
const schemeNames = { auto: 'as the system', light: 'light', dark: 'dark' };
const themeButton = document.getElementById('theme');

function setTheme(theme) {
    document.documentElement.dataset.theme = theme;
    localStorage.setItem('theme', theme);
    themeButton.replaceChildren(icon(theme));
    themeButton.setAttribute('aria-label', `Colours: ${schemeNames[theme]}. Change`);
    themeButton.title = `Colours: ${schemeNames[theme]}`;
}

function showState() {
    const up = feed.connected.notifications && feed.connected.requests;
    live.className = up ? 'live up' : 'live';
    live.textContent = up ? 'Live' : 'Connecting';
}

themeButton.onclick = () =>
    setTheme(schemes[(schemes.indexOf(document.documentElement.dataset.theme) + 1) % schemes.length]);
leave.onclick = () => bus.leave();
document.querySelector('.skip').onclick = event => {
    event.preventDefault();
    main.focus();
};
feed.events.addEventListener('state', showState);
bus.happenings.addEventListener('expired', () => {
    feed.stop();
    show({ moveFocus: false });
});
addEventListener('hashchange', () => show({ moveFocus: true }));

setTheme(document.documentElement.dataset.theme);
showState();
if (!bus.isLoggedIn() || await begin())
    show({ moveFocus: false });
