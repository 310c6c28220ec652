// What the tests of a file share: a running server and a browser.
import { after, before } from 'node:test';
import { launch, openPage, sharedTab } from './browser.mjs';
import { Server } from './server.mjs';

// `makeAlerts` gives what is in the log at the start. The fields of the result are set before the
// first test runs. A page that is opened with options, be they empty, is in a tab of its own.
export function useServer(makeAlerts) {
  const openShared = sharedTab();
  const shared = {
    open: (t, path, options) =>
      options === undefined
        ? openShared(t, shared.browser, shared.server, path)
        : openPage(t, shared.browser, shared.server, path, options),
  };

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
