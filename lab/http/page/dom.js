// What every view builds its elements with.

const svgNames = new Set(['svg', 'g', 'path', 'rect', 'circle', 'line', 'text', 'title', 'polyline']);

// h('button', { class: 'quiet', onclick: go }, 'Go'): functions become listeners; false, null and undefined are left out.
export function h(name, properties = {}, ...children) {
    const node = svgNames.has(name) ? document.createElementNS('http://www.w3.org/2000/svg', name) : document.createElement(name);
    for (const [key, value] of Object.entries(properties ?? {})) {
        if (value === false || value === null || value === undefined)
            continue;
        if (typeof value === 'function')
            node.addEventListener(key.slice(2), value);
        else
            node.setAttribute(key, value === true ? '' : value);
    }
    node.append(...children.flat(Infinity).filter(child => child !== null && child !== undefined && child !== false));
    return node;
}

const calm = matchMedia('(prefers-reduced-motion: reduce)');

function play(node, frames, duration) {
    if (!calm.matches && node.animate)
        node.animate(frames, { duration, easing: 'cubic-bezier(.2, .7, .2, 1)' });
}

// Shows for a moment that something here is new.
export function flash(node) {
    node.classList.remove('changed');
    void node.getBoundingClientRect();
    node.classList.add('changed');
}

// Sets a text and shows that it changed, unless it is the first.
export function setText(node, text, { silent = false } = {}) {
    text = String(text);
    if (node.textContent === text)
        return;
    const first = node.textContent === '';
    node.textContent = text;
    if (!first && !silent)
        flash(node);
}

// Children of `parent` become those of `items`, each made once for its key and updated from then on. What changes its place
// moves there, what is new fades in.
export function reconcile(parent, items, keyOf, make, update) {
    const old = new Map([...parent.children].map(node => [node.dataset.key, { node, top: node.getBoundingClientRect().top }]));
    const wanted = items.map(item => {
        const key = String(keyOf(item));
        const node = old.get(key)?.node ?? make(item);
        node.dataset.key = key;
        update(node, item);
        return node;
    });
    const focused = document.activeElement;
    wanted.forEach((node, at) => {
        if (parent.children[at] !== node)
            parent.insertBefore(node, parent.children[at] ?? null);
    });
    while (parent.children.length > wanted.length)
        parent.lastElementChild.remove();
    if (focused && focused !== document.activeElement && parent.contains(focused))
        focused.focus({ preventScroll: true });
    if (!old.size)
        return;
    for (const node of wanted) {
        const before = old.get(node.dataset.key);
        if (!before)
            play(node, [{ opacity: 0, transform: 'translateY(-6px)' }, { opacity: 1, transform: 'none' }], 300);
        else if (Math.abs(before.top - node.getBoundingClientRect().top) > 1)
            play(node, [{ transform: `translateY(${before.top - node.getBoundingClientRect().top}px)` }, { transform: 'none' }], 350);
    }
}

// Tells what happened, to eyes and to screen readers, for a few seconds.
let timer = 0;
export function say(text) {
    const place = document.getElementById('said');
    place.textContent = text;
    clearTimeout(timer);
    timer = setTimeout(() => { place.textContent = ''; }, 4000);
}

export async function copy(text, what) {
    try {
        await navigator.clipboard.writeText(text);
    } catch { // no clipboard over plain HTTP from another machine
        const area = h('textarea', { class: 'away', 'aria-hidden': 'true' });
        area.value = text;
        document.body.append(area);
        area.select();
        document.execCommand('copy');
        area.remove();
    }
    say(`Copied ${what}.`);
}

// Tabs after the usual pattern: arrows move between them, one panel shows. `kept` holds the chosen one for tabs that are made
// anew.
let nextTabs = 0;
export function tabs(label, entries, kept = { chosen: 0 }) {
    const id = `tabs${nextTabs++}`;
    const heads = entries.map(([title], at) => h('button', {
        type: 'button', role: 'tab', id: `${id}-tab${at}`, 'aria-controls': `${id}-panel${at}`, onclick: () => choose(at),
    }, title));
    const panels = entries.map(([, content], at) => h('div', {
        role: 'tabpanel', id: `${id}-panel${at}`, 'aria-labelledby': `${id}-tab${at}`,
    }, content));
    function choose(chosen) {
        kept.chosen = chosen;
        heads.forEach((head, at) => {
            head.setAttribute('aria-selected', at === chosen);
            head.tabIndex = at === chosen ? 0 : -1;
            panels[at].hidden = at !== chosen;
        });
    }
    function onkeydown(event) {
        const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
        if (!step)
            return;
        const at = (heads.indexOf(document.activeElement) + step + heads.length) % heads.length;
        choose(at);
        heads[at].focus();
    }
    choose(kept.chosen);
    return h('div', { class: 'tabs' }, h('div', { role: 'tablist', 'aria-label': label, onkeydown }, heads), panels);
}

export const icon = (name, size = 16) => h('svg', {
    viewBox: '0 0 16 16', width: size, height: size, class: 'icon', 'aria-hidden': 'true', focusable: 'false',
}, h('path', { d: icons[name] }));

const icons = {
    auto: 'M8 2a6 6 0 1 0 0 12A6 6 0 0 0 8 2zM8 4v8',
    light: 'M8 5a3 3 0 1 0 0 6 3 3 0 0 0 0-6zM8 1v1.5M8 13.5V15M1 8h1.5M13.5 8H15M3 3l1 1M12 12l1 1M13 3l-1 1M4 12l-1 1',
    dark: 'M13.5 9.6A6 6 0 0 1 6.4 2.5a6 6 0 1 0 7.1 7.1z',
    down: 'M8 2v11M4 9l4 4 4-4',
    up: 'M8 14V3M4 7l4-4 4 4',
    copy: 'M6 5V2.5h7.5V10H11M2.5 5H11v8.5H2.5z',
    cable: 'M5 2v4M11 2v4M3.5 6h9v3a4.5 4.5 0 0 1-9 0zM8 13.5V15',
    close: 'M4 4l8 8M12 4l-8 8',
    edit: 'M3 13l.6-2.8L10.8 3l2.2 2.2-7.2 7.2zM9.4 4.4l2.2 2.2',
};
