// Requests to the server under test, well-formed and otherwise.
import { connect } from 'node:net';

const PATIENCE_MS = 5000; // for an answer; some get none

export function query(parameters) {
  const search = new URLSearchParams();
  for (const [name, values] of Object.entries(parameters)) {
    for (const value of [values].flat()) search.append(name, value);
  }
  const text = search.toString();
  return text === '' ? '' : `?${text}`;
}

export const get = (server, path, parameters = {}, options = {}) =>
  fetch(server.address + path + query(parameters), options);

export async function json(server, path, parameters = {}) {
  const response = await get(server, path, parameters);
  return response.json();
}

// Opens a connection that the test owns. `received` grows as bytes come; `closed` tells of the end.
export async function open(t, server) {
  const socket = connect(Number(server.port), '127.0.0.1');
  const connection = { socket, received: '', closed: false };
  socket.setEncoding('utf8');
  socket.on('data', (text) => (connection.received += text));
  socket.on('close', () => (connection.closed = true));
  socket.on('error', () => (connection.closed = true));
  t.after(() => socket.destroy());
  await new Promise((done, failed) => {
    socket.once('connect', done);
    socket.once('error', failed);
  });
  return connection;
}

// Sends bytes as they are; what comes back until the other side closes or says nothing more.
export function sendRaw(server, bytes, { quiet_ms = 300 } = {}) {
  return new Promise((done) => {
    const socket = connect(Number(server.port), '127.0.0.1');
    let received = '';
    const finish = () => {
      socket.destroy();
      done(received);
    };
    socket.setTimeout(PATIENCE_MS, finish);
    socket.on('connect', () => socket.write(bytes));
    socket.on('data', (data) => {
      received += data.toString('latin1');
      socket.setTimeout(quiet_ms, finish);
    });
    socket.on('close', finish);
    socket.on('error', finish);
  });
}
