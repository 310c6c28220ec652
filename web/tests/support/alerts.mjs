// Alerts for the tests, always the same ones but for the time they are counted back from.

// The programs under test have it too: a zone that is neither UTC nor, in the tests, the browser's.
process.env.TZ = 'Europe/Berlin';

const MINUTE_MS = 60_000;
const SERVERS = ['north', 'south', 'east'];
// The messages of each module, with their levels.
const MESSAGES = {
  disk: [
    ['2', '/dev/sda1 is 97% full (limit 95%)'],
    ['1', 'I/O error on sdb, sector 2048'],
    ['3', 'reallocated sectors: 12'],
  ],
  network: [
    ['2', 'eth1: link down'],
    ['3', 'eth1: link up, 10000 Mbit/s'],
    ['2', 'packet loss of 12% to 192.0.2.4'],
  ],
  service: [
    ['1', 'database.service: main process exited, status 1'],
    ['3', 'database.service: started again'],
    ['3', 'web.service: configuration read again'],
  ],
  kernel: [
    ['1', 'out of memory: process 2231 ended'],
    ['2', 'CPU 3 is too hot, clock reduced'],
  ],
  backup: [
    ['3', 'nightly backup done in 42 min'],
    [
      '2',
      'nightly backup failed: the target does not answer, next try in 15 min; the whole output is in /var/log/backup/nightly.log',
    ],
  ],
};
const MODULES = Object.keys(MESSAGES);

// Columns of a line of the intake file, in order.
const COLUMNS = [
  ['id', 10],
  ['written', 24],
  ['raised', 24],
  ['server', 65],
  ['module', 32],
  ['event', 8],
  ['level', 8],
  ['message', 512],
];

export function intakeLine(alert) {
  const columns = COLUMNS.map(([name, width]) => {
    const column = Buffer.alloc(width, ' ');
    column.write(alert[name]);
    return column;
  });
  return Buffer.concat([...columns, Buffer.from('\n')]);
}

// A time as the log stores it, in the local time of this process and so of the programs it starts.
export function stored(ms) {
  const date = new Date(ms);
  const two = (value) => String(value).padStart(2, '0');
  const day = `${date.getFullYear()}/${two(date.getMonth() + 1)}/${two(date.getDate())}`;
  const time = [date.getHours(), date.getMinutes(), date.getSeconds()].map(two).join(':');
  return `${day} ${time}.${String(date.getMilliseconds()).padStart(3, '0')}`;
}

export function makeAlert(ms, fields) {
  return {
    id: '0',
    written: stored(ms),
    raised: stored(ms),
    server: 'north',
    module: 'disk',
    event: '101',
    level: '3',
    ...fields,
  };
}

// Numbers that look like chance and are the same every time.
function sequence(seed) {
  let state = seed;
  return (below) => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return Math.floor((state / 2 ** 32) * below);
  };
}

// Mostly a notice, where the module has one; in bad times less so.
function messageOf(messages, bad, next) {
  const notice = messages.findIndex(([level]) => level === '3');
  return notice === -1 || next(bad ? 2 : 5) === 0 ? next(messages.length) : notice;
}

// As on a cluster in operation: many notices, some warnings, few errors, and a time that is worse.
// The newest is of `end`, and the others are spread unevenly over about `minutes` before it.
export function usualAlerts(count, { minutes = count / 2, end = Date.now() - MINUTE_MS } = {}) {
  const next = sequence(20);
  const step = (minutes * MINUTE_MS) / count;
  let ms = end - minutes * MINUTE_MS;
  const alerts = Array.from({ length: count }, (_, index) => {
    const part = index / count;
    const bad = part > 0.7 && part < 0.8;
    ms += 1 + next((bad ? 0.4 : 1.06) * 2 * step);
    const module = MODULES[Math.min(next(MODULES.length), next(MODULES.length))];
    const message = messageOf(MESSAGES[module], bad, next);
    const [level, text] = MESSAGES[module][message];
    return { ms, server: SERVERS[Math.min(next(3), next(3))], module, message, level, text };
  });
  const late = end - ms;
  return alerts.map(({ ms: raised, server, module, message, level, text }) =>
    makeAlert(Math.floor(raised + late), {
      server,
      module,
      event: String(101 + 100 * MODULES.indexOf(module) + message),
      level,
      message: text,
    }),
  );
}
