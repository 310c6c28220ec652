// Figures of the server with a full log, printed, not judged: node web/bench/server.mjs
// Times in ms: median and worst. Each kind of request is also told as a multiple of the cheapest
// one of the same run, /-/healthy, so that figures of different machines can be compared.
import { readFileSync } from 'node:fs';
import http from 'node:http';
import { usualAlerts } from '../tests/support/alerts.mjs';
import { eventually, pause, Server } from '../tests/support/server.mjs';
import { median, show, worst } from './times.mjs';

const REQUESTS = ['/-/healthy', '/api/v1/alerts', '/api/v1/alerts?level=3', '/api/v1/alerts?server=north&level=2', '/api/v1/alerts?text=disk', '/api/v1/alerts?page=99', '/api/v1/facets', '/api/v1/facets?text=disk&level=3', '/api/v1/histogram', '/api/v1/status', '/metrics', '/api/v1/alerts?format=jsonl', '/api/v1/alerts?format=csv'];
const ROUNDS = 21;
const STREAMS = 500;

const server = new Server();
const residentMb = () => Number(/VmRSS:\s+(\d+)/.exec(readFileSync(`/proc/${server.web.pid}/status`, 'utf8'))[1]) / 1000;

async function timed(path) {
  const start = performance.now();
  await (await fetch(server.address + path)).arrayBuffer();
  return performance.now() - start;
}

async function requests() {
  let base;
  for (const path of REQUESTS) {
    const times = [];
    for (let round = 0; round < ROUNDS; ++round) times.push(await timed(path));
    base ??= median(times);
    console.log(`${show(median(times))} ${show(worst(times))}  x${(median(times) / base).toFixed(1).padEnd(6)} ${path}`);
  }
}

// What a page asks for when its text field changes.
async function keystroke() {
  const times = [];
  for (let round = 0; round < ROUNDS; ++round) {
    const start = performance.now();
    const filter = `text=${'disk'.slice(0, (round % 4) + 1)}`;
    await Promise.all(['alerts', 'facets', 'histogram'].map((what) => timed(`/api/v1/${what}?${filter}`)));
    times.push(performance.now() - start);
  }
  console.log(`${show(median(times))} ${show(worst(times))}          alerts, facets and histogram of a new filter together`);
}

function openStream() {
  const stream = { last: 0, text: '' };
  return new Promise((done) => {
    const request = http.get(`${server.address}/api/v1/stream`, { agent: false }, (response) => {
      response.on('data', (data) => {
        stream.last = performance.now();
        stream.text = data.toString();
      });
      response.once('data', () => done(stream));
    });
    stream.close = () => request.destroy();
  });
}

async function streams() {
  const open = [];
  while (open.length < STREAMS) {
    open.push(...(await Promise.all(Array.from({ length: 50 }, openStream))));
    await pause(250);
  }
  const times = [];
  for (let round = 0; round < ROUNDS; ++round) {
    const message = `round ${round} of the streams`;
    const start = performance.now();
    server.raise({ message });
    await eventually('all have it', () => open.every(({ text }) => text.includes(message)));
    times.push(Math.max(...open.map(({ last }) => last)) - start);
    await pause(300);
  }
  console.log(`${show(median(times))} ${show(worst(times))}          from "qelalert raise" until the last of ${STREAMS} streams had the alert`);
  console.log(`${residentMb().toFixed(1)} MB resident with ${STREAMS} streams`);
  for (const { close } of open) close();
}

try {
  server.fill(usualAlerts(10_000));
  await server.startDaemon();
  await server.startWeb();
  console.log(' median   worst  of healthy');
  await requests();
  await keystroke();
  await streams();
} finally {
  await server.stop();
}
