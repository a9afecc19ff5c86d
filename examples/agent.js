#!/usr/bin/env node
// A small agent: node's own modules and the tool ubus.
//   agent.js stations               lists the stations
//   agent.js switch NAME on|off     switches the networks of this name, whichever radio they are on
//   agent.js passwords              tells of wrong passwords, until it is ended
'use strict';

const { execFile, spawn } = require('node:child_process');
const readline = require('node:readline');
const { promisify } = require('node:util');

const run = promisify(execFile);

// The reply to a call; a failure stands in the reply, and no reply is one too.
async function call(path, method, args = {}) {
    const { stdout } = await run('ubus', ['-S', 'call', path, method, JSON.stringify(args)], { maxBuffer: 1 << 24 });
    if (!stdout)
        throw new Error(`${path} ${method}: no answer`);
    const reply = JSON.parse(stdout);
    if (reply.result === '1')
        throw new Error(`${path} ${method}: ${reply.failreason}`);
    return reply;
}

async function stations() {
    for (const station of (await call('wexond.laninfo', 'list'))['wexond.laninfo'])
        console.log(station.mac, station.ipaddr, station.devname);
}

async function switchNetwork(name, state) {
    let found = false;
    for (const radio of ['wexond.wifi.1.ap', 'wexond.wifi.2.ap'])
        for (const network of (await call(radio, 'list'))[radio])
            if (network.ssid === name) {
                await call(`${radio}.${network.idx}`, 'set', { enable: state === 'on' ? 'yes' : 'no' });
                console.log(`${radio}.${network.idx}`);
                found = true;
            }
    if (!found)
        throw new Error(`no network ${name}`);
}

// Hands on what the tool prints: a name and a message on each line.
function follow(words, take) {
    const tool = spawn('ubus', words, { stdio: ['ignore', 'pipe', 'ignore'] });
    readline.createInterface({ input: tool.stdout }).on('line', (line) => {
        for (const [name, message] of Object.entries(JSON.parse(line)))
            take(name, message);
    });
    return tool;
}

function subscribe() {
    return follow(['subscribe', 'wexond.wifi'], (name, message) => {
        if (name === 'passworderror')
            console.log('wrong password:', message.stamac);
    });
}

// When the daemon starts anew, its objects are new: what was subscribed to is no more.
function passwords() {
    let subscriber = subscribe();
    const listener = follow(['listen', 'ubus.object.add'], (name, added) => {
        if (added.path === 'wexond.wifi') {
            subscriber.kill();
            subscriber = subscribe();
        }
    });
    const end = (status) => {
        listener.removeAllListeners('exit').kill();
        subscriber.kill();
        process.exit(status);
    };
    listener.on('exit', () => {
        console.error('agent: no bus, or none that tells of its objects');
        end(1);
    });
    for (const ending of ['SIGINT', 'SIGTERM'])
        process.on(ending, () => end(0));
}

async function main([command, name, state]) {
    if (command === 'stations')
        await stations();
    else if (command === 'switch' && (state === 'on' || state === 'off'))
        await switchNetwork(name, state);
    else if (command === 'passwords')
        passwords();
    else
        throw new Error('stations, switch NAME on|off, or passwords');
}

main(process.argv.slice(2)).catch((error) => {
    console.error(`agent: ${error.message}`);
    process.exitCode = 1;
});
