// A call as a line for other programs.

import { sessionId } from './bus.js';

const quote = text => `'${text.replaceAll('\'', '\'\\\'\'')}'`;
const spaced = value => JSON.stringify(value, null, 1).replace(/\n\s*/g, ' ').replace(/([{[]) /g, '$1').replace(/ ([}\]])/g, '$1');
// JSON and Python differ in these words, which stand outside texts.
const python = value => spaced(value).replace(/"(?:[^"\\]|\\.)*"|true|false|null/g,
    word => ({ true: 'True', false: 'False', null: 'None' })[word] ?? word);

const asUbus = (object, method, argument) =>
    `ubus call ${object} ${method}${Object.keys(argument).length ? ` ${quote(JSON.stringify(argument))}` : ''}`;

const request = (session, object, method, argument) =>
    ({ jsonrpc: '2.0', id: 1, method: 'call', params: [session, object, method, argument] });

const asCurl = (object, method, argument, session) =>
    `curl -s ${location.origin}/ubus -d ${quote(JSON.stringify(request(session, object, method, argument)))}`;

const asPython = (object, method, argument, session) => `import json
from urllib.request import urlopen

request = {"jsonrpc": "2.0", "id": 1, "method": "call",
           "params": ["${session}", "${object}", "${method}",
                      ${python(argument)}]}
with urlopen("${location.origin}/ubus", json.dumps(request).encode()) as answer:
    print(json.load(answer))
`;

const forms = [['ubus', asUbus], ['curl', asCurl], ['Python', asPython]];

// [title, text to copy, text to show]: in what is shown, session and secrets are hidden.
export function snippets(object, method, argument, secrets) {
    const shown = Object.fromEntries(Object.entries(argument).map(([key, value]) => [key, secrets.includes(key) ? '••••••••' : value]));
    return forms.map(([title, form]) =>
        [title, form(object, method, argument, sessionId()), form(object, method, shown, `${sessionId().slice(0, 4)}…`)]);
}
