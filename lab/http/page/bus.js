// The bus behind the gateway: sessions, calls, streams.

const nobody = '0'.repeat(32);

let session = sessionStorage.getItem('session') ?? '';
let user = sessionStorage.getItem('user') ?? '';

// What views listen to: 'call' (one of `calls` began or ended), 'expired'.
export const happenings = new EventTarget();
const tell = (name, detail) => happenings.dispatchEvent(new CustomEvent(name, { detail }));

export const isLoggedIn = () => session !== '';
export const userName = () => user;
export const sessionId = () => session;

// The page's calls, the newest last: { id, object, method, arguments, background, begin, end, status, reply, error }.
export const calls = [];
const mostCalls = 400;

async function post(method, params) {
    const response = await fetch('/ubus', {
        method: 'POST',
        headers: { 'Content-Type': 'application/json' },
        body: JSON.stringify({ jsonrpc: '2.0', id: 1, method, params }),
    });
    return response.json();
}

// { status, reply, error }: status of the bus, the reply if there is one, or what the gateway says instead.
async function ask(as, object, method, argument) {
    try {
        const answer = await post('call', [as, object, method, argument]);
        if (answer.error)
            return { status: null, reply: null, error: answer.error };
        return { status: answer.result[0], reply: answer.result[1] ?? null, error: null };
    } catch {
        return { status: null, reply: null, error: { code: 0, message: 'The gateway does not answer' } };
    }
}

export const accessDenied = -32002;

// A refusal is for the right or for the session that has ended: every session may ask what it may.
async function noticeEnd(outcome) {
    if (outcome.error?.code !== accessDenied || !session)
        return;
    const asked = await ask(session, 'session', 'access', { object: 'session', function: 'access' });
    if (asked.error?.code === accessDenied || asked.reply?.access === false)
        end();
}

// One call at a time: the daemon answers no others meanwhile, and each request to the service then belongs to one call.
let last = Promise.resolve();
let nextId = 1;

export function call(object, method, argument = {}, { background = false } = {}) {
    const turn = last.then(() => perform(object, method, argument, background));
    last = turn.catch(() => {});
    return turn;
}

async function perform(object, method, argument, background) {
    const made = { id: nextId++, object, method, arguments: argument, background, begin: Date.now(), end: null };
    calls.push(made);
    if (calls.length > mostCalls)
        calls.shift();
    tell('call', made);
    const start = performance.now();
    Object.assign(made, await ask(session, object, method, argument));
    made.took = performance.now() - start;
    made.end = Date.now();
    tell('call', made);
    await noticeEnd(made);
    return made;
}

export async function paths() {
    return (await post('list')).result ?? [];
}

export async function login(name, password) {
    const { status, reply } = await ask(nobody, 'session', 'login', { username: name, password });
    if (status !== 0)
        return status === 6 ? 'Wrong name or password.' : 'The gateway does not answer.';
    session = reply.ubus_rpc_session;
    user = name;
    sessionStorage.setItem('session', session);
    sessionStorage.setItem('user', user);
    return '';
}

export function end() {
    if (!session)
        return;
    session = user = '';
    sessionStorage.clear();
    tell('expired');
}

export async function leave() {
    await ask(session, 'session', 'destroy', {});
    end();
}

// --- What only the lab has ---

export async function lab(path, body) {
    try {
        const response = await fetch(`/lab/${path}`, {
            method: body ? 'POST' : 'GET',
            headers: { 'Content-Type': 'application/json', Authorization: `Bearer ${session}` },
            body: body && JSON.stringify(body),
        });
        const answer = await response.json();
        if (response.status === 401)
            end();
        return response.ok ? { answer, error: '' } : { answer: null, error: answer.error ?? `status ${response.status}` };
    } catch {
        return { answer: null, error: 'The gateway does not answer.' };
    }
}

// An event stream that comes back by itself; `query` is for its first start. Returns what ends it.
export function stream(path, query, onData, onState) {
    let source = null;
    let timer = 0;
    let wait = 500;
    function open(more = '') {
        source = new EventSource(`${path}?session=${session}${more}`);
        source.onopen = () => {
            wait = 500;
            onState(true);
        };
        source.onmessage = event => onData(JSON.parse(event.data));
        source.onerror = () => {
            onState(false);
            if (source.readyState !== EventSource.CLOSED)
                return;
            timer = setTimeout(() => open(), wait);
            wait = Math.min(wait * 2, 10000);
        };
    }
    open(query);
    return () => {
        clearTimeout(timer);
        source.close();
    };
}
