// Numbers as people read them.

export function rate(kbits) {
    const value = Number(kbits);
    if (!Number.isFinite(value))
        return '–';
    if (value >= 1e6)
        return `${trim(value / 1e6)} Gbit/s`;
    if (value >= 1e3)
        return `${trim(value / 1e3)} Mbit/s`;
    return `${trim(value)} kbit/s`;
}

const trim = value => value >= 100 || Number.isInteger(value) ? Math.round(value).toString() : value.toFixed(1).replace(/\.0$/, '');

export function bytes(text) {
    let value = Number(text);
    for (const unit of ['B', 'kB', 'MB', 'GB', 'TB']) {
        if (value < 1000 || unit === 'TB')
            return `${trim(value)} ${unit}`;
        value /= 1000;
    }
}

export function span(seconds) {
    const [days, hours, minutes] = [Math.floor(seconds / 86400), Math.floor(seconds / 3600) % 24, Math.floor(seconds / 60) % 60];
    if (days)
        return `${days} d ${hours} h`;
    if (hours)
        return `${hours} h ${minutes} min`;
    return minutes ? `${minutes} min` : `${Math.floor(seconds)} s`;
}

export function milliseconds(value) {
    if (value >= 1000)
        return `${(value / 1000).toFixed(1)} s`;
    if (value < 0.1)
        return '< 0.1 ms';
    return value >= 10 ? `${Math.round(value)} ms` : `${value.toFixed(1)} ms`;
}

const two = number => String(number).padStart(2, '0');

export function clock(milli) {
    const time = new Date(milli);
    return `${two(time.getHours())}:${two(time.getMinutes())}:${two(time.getSeconds())}.${String(time.getMilliseconds()).padStart(3, '0')}`;
}

// MAC addresses come with and without colons.
export const plainMac = text => text.replace(/:/g, '').toUpperCase();
export const colonMac = text => plainMac(text).replace(/(..)(?=.)/g, '$1:');

// A message's keys and values in one line.
export function short(value) {
    if (Array.isArray(value))
        return `[${value.map(short).join(', ')}]`;
    if (value !== null && typeof value === 'object')
        return Object.entries(value).map(([key, inner]) => `${key} ${short(inner)}`).join(', ');
    return value === '' ? '""' : String(value);
}
