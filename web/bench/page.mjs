// How soon a full log is on the screen, printed, not judged: node web/bench/page.mjs
// Times in ms: median and worst; of a keystroke also as a multiple of the same three requests made
// without a page, in the same run.
import { usualAlerts } from '../tests/support/alerts.mjs';
import { found, launch } from '../tests/support/browser.mjs';
import { Server } from '../tests/support/server.mjs';
import { median, show, worst } from './times.mjs';

const FULL = 10_000;
const LOADS = 7;
const LETTERS = ['l', 'i', 'n', 'Backspace', 'Backspace', 'o', 'Backspace', 'Backspace'];
const ROUNDS = 3;

// Notes when the first rows are there to be painted.
function watchForRows() {
  new MutationObserver((_, observer) => {
    if (document.querySelector('.row') === null) return;
    observer.disconnect();
    requestAnimationFrame(() => setTimeout(() => (window.rowsAt = performance.now())));
  }).observe(document, { childList: true, subtree: true });
}

async function load(browser, server) {
  const context = await browser.newContext({ viewport: { width: 1280, height: 800 } });
  const page = await context.newPage();
  await page.addInitScript(watchForRows);
  await page.goto(server.address);
  await page.waitForFunction(() => window.rowsAt !== undefined);
  const took = await page.evaluate(() => window.rowsAt);
  return { page, took, close: () => context.close() };
}

// Types a letter that changes how many alerts match; gives the milliseconds until the count of what
// was found has changed and is painted.
async function keystroke(page, letter) {
  const taken = page.evaluate(
    () =>
      new Promise((done, fail) => {
        setTimeout(() => fail(new Error('the count stays')), 5000);
        const heading = document.querySelector('.results-head h2');
        let start = 0;
        addEventListener('keydown', (event) => (start = event.timeStamp), {
          once: true,
          capture: true,
        });
        new MutationObserver((_, observer) => {
          observer.disconnect();
          requestAnimationFrame(() => setTimeout(() => done(performance.now() - start)));
        }).observe(heading, { characterData: true, childList: true, subtree: true });
      }),
  );
  await page.waitForTimeout(30); // the observer is there before the letter
  await page.keyboard.press(letter);
  return taken;
}

async function requests(server, text) {
  const start = performance.now();
  const ask = async (what) => (await fetch(`${server.address}/api/v1/${what}?text=${text}`)).arrayBuffer();
  await Promise.all(['alerts', 'facets', 'histogram'].map(ask));
  return performance.now() - start;
}

const server = new Server();
const browser = await launch();
try {
  server.fill(usualAlerts(FULL));
  await server.startDaemon();
  await server.startWeb();
  const loads = [];
  for (let i = 0; i < LOADS; ++i) {
    const { took, close } = await load(browser, server);
    loads.push(took);
    await close();
  }
  console.log(`${show(median(loads))} ${show(worst(loads))}          first load, until the first rows are painted`);
  const { page } = await load(browser, server);
  await found(page, FULL);
  await page.click('#text');
  const [strokes, bare] = [[], []];
  for (let i = 0; i < ROUNDS * LETTERS.length; ++i) {
    strokes.push(await keystroke(page, LETTERS[i % LETTERS.length]));
    bare.push(await requests(server, 'li'));
  }
  console.log(`${show(median(strokes))} ${show(worst(strokes))}  x${(median(strokes) / median(bare)).toFixed(1).padEnd(6)} keystroke, until the table is painted`);
} finally {
  await browser.close();
  await server.stop();
}
