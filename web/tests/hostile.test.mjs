// Alerts hold whatever anybody raised: it is shown, and does nothing.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { makeAlert } from './support/alerts.mjs';
import { found, rows } from './support/browser.mjs';
import { useServer } from './support/fixture.mjs';

const MARKUP = '<img src=x onerror="window.harm=1"><script>window.harm=1</script>';
const HOSTILE = [
  { message: MARKUP, module: '<b>m</b>', event: '"><i>', server: "'--" },
  { message: 'red \u001b[31malert\u001b[0m and a bell \u0007' },
  { message: 'report \u202egnp.exe and \u2066hidden\u2069' },
  { message: 'javascript:window.harm=1' },
  { message: 'x'.repeat(500), module: 'm'.repeat(31), server: 's'.repeat(64) },
  { message: 'zero\u200bwidth, caf\u00e9, \u65e5\u672c\u8a9e, {{harm}} ${harm}' },
];

const shared = useServer(() =>
  HOSTILE.map((fields, index) => makeAlert(Date.now() - 1000 * (10 - index), fields)),
);

async function openAll(t, path, options) {
  const page = await shared.open(t, path, options);
  await found(page, HOSTILE.length);
  return page;
}
const message = (page, text) => page.locator('.cell-message', { hasText: text });

test('a message holds markup: it is text in the row, in its details and nowhere else', async (t) => {
  const page = await openAll(t);
  await message(page, MARKUP).click();
  await page.locator('.details .message', { hasText: MARKUP }).waitFor();
  assert.equal(
    await page.locator('img, main script, main b:not(.legend-level b), main i').count(),
    0,
  );
  assert.equal(await page.evaluate(() => window.harm), undefined);
});

test('names hold markup: they are text in values, chips and counts, and can be filtered', async (t) => {
  const page = await openAll(t);
  for (const [field, value] of [
    ['module', '<b>m</b>'],
    ['event', '"><i>'],
    ['server', "'--"],
  ]) {
    await rows(page).filter({ hasText: value }).locator(`[data-field=${field}]`).click();
    await found(page, 1);
    await page
      .getByRole('button', { name: `${value}` })
      .first()
      .waitFor();
  }
  assert.equal(await page.locator('main b:not(.legend-level b), main i').count(), 0);
});

test('a message holds control characters: they are shown as escapes', async (t) => {
  const page = await openAll(t);
  await message(page, 'red \\x1b[31malert\\x1b[0m and a bell \\x07').waitFor();
});

test('a message holds marks of direction: they are shown as escapes', async (t) => {
  const page = await openAll(t);
  await message(page, 'report \\u202egnp.exe and \\u2066hidden\\u2069').waitFor();
  await message(page, 'zero\\u200bwidth, caf\u00e9, \u65e5\u672c\u8a9e').waitFor();
});

test('names are as long as they may be: nothing reaches over the sides, also of a narrow page', async (t) => {
  for (const width of [1280, 390]) {
    const page = await openAll(t, '/', { viewport: { width, height: 800 } });
    await rows(page).filter({ hasText: 'xxx' }).locator('[data-row]').click();
    await page.locator('.row-details').waitFor();
    assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), width);
  }
});

test('the address holds markup: it is text in its chips', async (t) => {
  const page = await shared.open(
    t,
    `/?text=${encodeURIComponent(MARKUP)}&alert=&open=${encodeURIComponent(MARKUP)}`,
  );
  await found(page, 1);
  await page.locator('.chip', { hasText: MARKUP }).waitFor();
  assert.equal(await page.evaluate(() => window.harm), undefined);
});

test('the page asks for something elsewhere: its policy forbids it', async (t) => {
  const page = await openAll(t, '/', { expected: /Content Security Policy/ });
  const refused = await page.evaluate(
    () =>
      new Promise((done) => {
        addEventListener('securitypolicyviolation', (event) => done(event.effectiveDirective));
        document.body.append(
          Object.assign(new Image(), { src: 'http://127.0.0.1:9/elsewhere.png' }),
        );
      }),
  );
  assert.equal(refused, 'img-src');
});
