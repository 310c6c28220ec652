// Three servers on loopback addresses, each with a host name, a daemon and a log of its own. The
// first one has the front end.
import { writeFileSync } from 'node:fs';
import { usualAlerts } from './alerts.mjs';
import { eventually, Server } from './server.mjs';

const HOSTS = ['north', 'south', 'east'];
const PORT_MIN = 20_000;
const PORTS = 9000;
const ALERTS = { north: 900, south: 700, east: 400 };
const SPAN_MINUTES = 20 * 60;

function clusterXml() {
  const server = (name, index) =>
    `<server><name>${name}</name><address><ip>127.8.0.${index + 1}</ip><interconnect>0</interconnect></address></server>`;
  return `<root><cluster>${HOSTS.map(server).join('')}</cluster></root>`;
}

function makeMember(host, port) {
  const server = new Server(host);
  writeFileSync(server.config('cluster'), clusterXml());
  server.set('webalert', 'udpport', port);
  for (const seconds of ['heartbeat', 'announce', 'resend']) server.set('webalert', seconds, '1');
  server.fill(
    usualAlerts(ALERTS[host], { minutes: SPAN_MINUTES }).map((alert) => ({
      ...alert,
      server: host,
    })),
  );
  return server;
}

export async function startCluster() {
  const port = String(PORT_MIN + (process.pid % PORTS));
  const servers = HOSTS.map((host) => makeMember(host, port));
  await Promise.all(servers.map((server) => server.startDaemon()));
  await servers[0].startWeb();
  const total = HOSTS.reduce((sum, host) => sum + ALERTS[host], 0);
  await eventually('the first server holds everything and knows that it does', async () => {
    const { complete, log } = await servers[0].get('status');
    return complete && log.count === total;
  });
  return { servers, total, stop: () => Promise.all(servers.map((server) => server.stop())) };
}
