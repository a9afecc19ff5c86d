// The description of the interface, as `api/` has it: which object is what, what values mean, why calls fail.

import { lab } from './bus.js';

let common = {};
export let descriptions = [];

export async function load() {
    if (descriptions.length)
        return '';
    const { answer, error } = await lab('api');
    if (error)
        return error;
    common = answer.find(file => file.failure_reply) ?? {};
    descriptions = answer.filter(file => file.object).sort((one, other) => one.object.localeCompare(other.object, 'en', { numeric: true }));
    return '';
}

// A description's value with what it refers to; its own keys go first.
export function resolve(value) {
    if (!value?.$ref)
        return value;
    const { $ref, ...own } = value;
    const shared = $ref.split('#/')[1].split('/').reduce((place, key) => place?.[key], common);
    return { ...resolve(shared), ...own };
}

// Of an object on the bus: entries are described once, with N for their number.
export const describe = path => descriptions.find(file => file.object === path) ??
    descriptions.find(file => file.object === path.replace(/\.\d+$/, '.N'));

export const families = [
    ['system', 'Device, network and stations'],
    ['wifi', 'Wi-Fi'],
    ['filters', 'Filters, schedules, quality of service'],
];

const days = ['Sunday', 'Monday', 'Tuesday', 'Wednesday', 'Thursday', 'Friday', 'Saturday', 'Sunday'];

// What a single value means, or ''. Of the days descriptions name the first and the last.
export function meaning(description, value) {
    const words = description?.['x-words'] ?? {};
    if (words[value] !== undefined)
        return words[value];
    if (words[1] === 'Monday' && days[value])
        return days[value];
    return '';
}

const escape = text => text.replace(/[.*+?^${}()|[\]\\]/g, '\\$&');

export const failuresOf = method => (method?.failures ?? []).map(resolve);

// The failures that a reason can be: those of its very text, or else those whose {placeholders} can stand for parts of it.
export function explain(method, reason) {
    const failures = failuresOf(method);
    const exact = failures.filter(({ text }) => text === reason);
    const pattern = text => new RegExp(`^${text.split(/\{[^}]*\}/).map(escape).join('.+')}$`);
    return exact.length ? exact : failures.filter(({ text }) => pattern(text).test(reason));
}

const statuses = {
    1: ['Invalid command', 'The bus did not understand the request.'],
    2: ['Invalid argument', 'The bus or the object took the arguments for wrong.'],
    3: ['Method not found', 'The object has no such method.'],
    4: ['Not found', 'There is no such object any more.'],
    5: ['No response', 'The daemon answered without saying anything.'],
    6: ['Permission denied', 'The access lists do not allow it.'],
    7: ['Timed out', 'The daemon did not answer in time. It finishes all the same.'],
    8: ['Not supported', 'The object does not do that.'],
    9: ['Unknown error', 'The call ended without a reply.'],
    10: ['Connection failed', 'The bus has gone away.'],
};

const gatewaySays = {
    [-32002]: 'This session may not call it. The user "reader" changes nothing and sees no keys or passwords; "admin" may do everything.',
    [-32000]: 'There is no such object on the bus. Entries that were deleted lose their objects; after the daemon starts, all come anew.',
    [-32003]: 'No answer within a minute.',
    [-32603]: 'The request did not reach the bus.',
    0: 'Is the lab still running? "./run status" tells.',
};

// How a call ended: { good, title, text }.
export function verdict(outcome, method) {
    if (outcome.error)
        return { good: false, title: outcome.error.message, text: gatewaySays[outcome.error.code] ?? '' };
    if (outcome.status !== 0) {
        const [title, text] = statuses[outcome.status] ?? [`Status ${outcome.status}`, ''];
        return { good: false, title, text: method?.silent ? `${text} This method gives no reply ${method.silent}.` : text };
    }
    if (outcome.reply?.result === '1') {
        const reasons = explain(method, outcome.reply.failreason).map(failure => failure.when);
        return { good: false, title: outcome.reply.failreason, text: reasons.length ? `That is: ${reasons.join('; or ')}.` : '' };
    }
    return { good: true, title: 'Done', text: '' };
}
