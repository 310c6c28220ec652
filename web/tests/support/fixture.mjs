// What the tests of a file share: a running server and a browser.
import { after, before } from 'node:test';
import { launch, openPage } from './browser.mjs';
import { Server } from './server.mjs';

// `makeAlerts` gives what is in the log at the start. The fields of the result are set before the
// first test runs.
export function useServer(makeAlerts) {
  const shared = { open: (t, path, options) => openPage(t, shared.browser, shared.server, path, options) };

  before(async () => {
    shared.alerts = makeAlerts();
    shared.server = new Server();
    shared.server.fill(shared.alerts);
    shared.browser = await launch();
    await shared.server.startDaemon();
    await shared.server.startWeb();
  });

  after(async () => {
    await shared.browser?.close();
    await shared.server?.stop();
  });

  return shared;
}
