// A server of its own in a temporary directory: configuration, store, daemon and web front end.
import { execFileSync, spawn } from 'node:child_process';
import { once } from 'node:events';
import {
  cpSync,
  mkdirSync,
  mkdtempSync,
  readFileSync,
  rmSync,
  statSync,
  writeFileSync,
} from 'node:fs';
import { tmpdir } from 'node:os';
import { basename, join, resolve } from 'node:path';
import { createInterface } from 'node:readline';
import { intakeLine } from './alerts.mjs';

const ROOT = resolve(import.meta.dirname ?? new URL('.', import.meta.url).pathname, '../../..');
const BUILD = resolve(process.env.QEL_BUILD ?? join(ROOT, 'build/dev'));
const PAGE = join(ROOT, 'build/page');
export const PATIENCE_MS = 60_000; // with what takes a while on a busy machine
const SEMAPHORE_PROJECT = 97;

export const SCREENSHOTS = join(ROOT, 'build/screenshots');
export const pause = (ms) => new Promise((done) => setTimeout(done, ms));

// Waits until `check` gives something true.
export async function eventually(what, check) {
  const end = Date.now() + PATIENCE_MS;
  while (Date.now() < end) {
    const found = await check();
    if (found) return found;
    await pause(20);
  }
  throw new Error(`waited in vain: ${what}`);
}

// The semaphores of the alert log are named after files.
function removeSemaphores(directory) {
  for (const name of ['semindex', 'semcreate', 'semtemp']) {
    try {
      const { dev, ino } = statSync(join(directory, name));
      const key = ((SEMAPHORE_PROJECT << 24) | ((dev & 0xff) << 16) | (ino & 0xffff)) >>> 0;
      execFileSync('ipcrm', ['-S', `0x${key.toString(16)}`], { stdio: 'ignore' });
    } catch {
      continue; // it was never made
    }
  }
}

// A command that runs as on a host of another name.
function onHost(host, command) {
  const asRoot = process.getuid() === 0 ? [] : ['--map-root-user'];
  return [
    'unshare',
    '--uts',
    ...asRoot,
    'sh',
    '-c',
    'hostname "$0" && exec "$@"',
    host,
    ...command,
  ];
}

export class Server {
  // Without a host it has the name of this machine.
  constructor(host) {
    this.host = host;
    this.home = mkdtempSync(join(tmpdir(), 'qel-page.'));
    this.ipc = `/${basename(this.home)}`;
    for (const name of ['etc', 'store', 'lock', 'log', 'run']) mkdirSync(join(this.home, name));
    for (const section of ['all', 'alert', 'webalert', 'cluster']) {
      cpSync(join(ROOT, `packaging/config/${section}.xml`), this.config(section));
    }
    this.set('all', 'path', this.home);
    this.set('alert', 'path', 'lock/programs');
    this.set('webalert', 'name', 'store/alertlog.alt');
    this.set('webalert', 'pidfile', join(this.home, 'run/qelalertd.pid'));
    this.set('webalert', 'durable', '0');
    this.replace('webalert', '/run/qelalert/qelalertd.sock', join(this.home, 'run/qelalertd.sock'));
    this.replace('webalert', '/run/qelalert-web/web.sock', join(this.home, 'run/web.sock'));
    this.environment = {
      ...process.env,
      QEL_CONFIG_DIR: join(this.home, 'etc'),
      QEL_LOG_DIR: join(this.home, 'log'),
      QEL_IPC_NAME: this.ipc,
    };
  }

  config(section) {
    return join(this.home, `etc/${section}.xml`);
  }

  store(name) {
    return join(this.home, 'store', name);
  }

  replace(section, from, to) {
    const text = readFileSync(this.config(section), 'utf8');
    if (!text.includes(from)) throw new Error(`not found in ${section}.xml: ${from}`);
    writeFileSync(this.config(section), text.replace(from, to));
  }

  set(section, element, value) {
    const text = readFileSync(this.config(section), 'utf8');
    const found = new RegExp(`<${element}>[^<]*</${element}>`).exec(text);
    if (found === null) throw new Error(`no element ${element} in ${section}.xml`);
    this.replace(section, found[0], `<${element}>${value}</${element}>`);
  }

  // Alerts that the daemon stores when it starts.
  fill(alerts) {
    writeFileSync(this.store('alerttmp.alt'), Buffer.concat(alerts.map(intakeLine)));
  }

  command(program, ...args) {
    const plain = [join(BUILD, program), ...args];
    return this.host === undefined ? plain : onHost(this.host, plain);
  }

  start(stdio, ...command) {
    const [program, ...args] = this.command(...command);
    return spawn(program, args, { env: this.environment, stdio });
  }

  tool(...args) {
    const [program, ...rest] = this.command('cli/qelalert', ...args);
    return execFileSync(program, rest, { env: this.environment, encoding: 'utf8', stdio: 'pipe' });
  }

  raise({ message, event = '42', module = 'test', level = '3' }) {
    this.tool('raise', '-i', event, '-m', module, '-p', level, message);
  }

  status() {
    try {
      return JSON.parse(this.tool('status', '-o', 'json'));
    } catch {
      return null; // the daemon does not answer yet
    }
  }

  async startDaemon() {
    this.daemon = this.start('ignore', 'daemon/qelalertd');
    await eventually('the daemon has stored everything', () => {
      const status = this.status();
      return status?.pid === this.daemon.pid && status.intake.waiting === 0;
    });
  }

  // On the port that it had before, so that an open page finds it again.
  async startWeb() {
    const options = ['--listen', `127.0.0.1:${this.port ?? 0}`, '--page', PAGE];
    this.web = this.start(['ignore', 'pipe', 'inherit'], 'web/server/qelalert-web', ...options);
    const [line] = await once(createInterface(this.web.stdout), 'line', {
      signal: AbortSignal.timeout(PATIENCE_MS),
    });
    this.address = line.slice(line.indexOf('http://')).trim();
    this.port = new URL(this.address).port;
  }

  async end(program) {
    if (program === undefined || program.exitCode !== null || program.signalCode !== null) return;
    program.kill('SIGTERM');
    await once(program, 'exit', { signal: AbortSignal.timeout(PATIENCE_MS) });
  }

  async stopWeb() {
    await this.end(this.web);
  }

  async stopDaemon() {
    await this.end(this.daemon);
  }

  async stop() {
    await this.stopWeb();
    await this.stopDaemon();
    removeSemaphores(join(this.home, 'lock'));
    rmSync(join('/dev/shm', this.ipc), { force: true });
    rmSync(this.home, { recursive: true, force: true });
  }

  async get(path) {
    const response = await fetch(`${this.address}/api/v1/${path}`);
    return response.json();
  }
}
