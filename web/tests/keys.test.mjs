// The page without a mouse.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { usualAlerts } from './support/alerts.mjs';
import { found, rows } from './support/browser.mjs';
import { useServer } from './support/fixture.mjs';

const shared = useServer(() => usualAlerts(300));

async function openFound(t, path) {
  const page = await shared.open(t, path);
  await found(page, 300);
  return page;
}

// The number of the row that has the focus, -1 when none has.
const focused = (page) =>
  page.evaluate(() => [...document.querySelectorAll('[data-row]')].indexOf(document.activeElement));
const press = async (page, ...keys) => {
  for (const key of keys) await page.keyboard.press(key);
};

test('j and k are pressed: the focus goes from row to row and stays at the ends', async (t) => {
  const page = await openFound(t);
  await press(page, 'j');
  assert.equal(await focused(page), 0);
  await press(page, 'j', 'j', 'k');
  assert.equal(await focused(page), 1);
  await press(page, 'k', 'k', 'k');
  assert.equal(await focused(page), 0);
});

test('Enter is pressed on a row: it opens; Escape closes it and keeps the focus there', async (t) => {
  const page = await openFound(t);
  await press(page, 'j', 'j', 'Enter');
  await page.locator('.row-details').waitFor();
  await press(page, 'Tab', 'Escape');
  await page.locator('.row-details').waitFor({ state: 'detached' });
  assert.equal(await focused(page), 1);
});

test('a row is open: j goes on to the row below it', async (t) => {
  const page = await openFound(t);
  await press(page, 'j', 'j', 'Enter');
  await page.getByRole('button', { name: 'Copy link' }).focus();
  await press(page, 'j');
  assert.equal(await focused(page), 2);
});

test('slash is pressed: the text field has the focus, and letters are text there', async (t) => {
  const page = await openFound(t);
  await press(page, '/');
  await page.keyboard.type('jk?l');
  assert.equal(await page.inputValue('#text'), 'jk?l');
  assert.equal(await page.locator('dialog').count(), 0);
  await press(page, 'Escape');
  assert.notEqual(await page.evaluate(() => document.activeElement.id), 'text');
});

test('a question mark is pressed: the help opens, keys rest behind it, Escape closes it', async (t) => {
  const page = await openFound(t);
  await press(page, '?');
  await page.getByRole('dialog').getByText('Next row, previous row').waitFor();
  await press(page, 'j');
  assert.equal(await focused(page), -1);
  await press(page, 'Escape');
  await page.getByRole('dialog').waitFor({ state: 'detached' });
});

test('n and p are pressed: pages turn', async (t) => {
  const page = await openFound(t);
  const top = rows(page).first();
  const newest = shared.alerts.at(-1).raised;
  await press(page, 'n');
  await top.getByText(shared.alerts.at(-51).raised).waitFor();
  await press(page, 'p');
  await top.getByText(newest).waitFor();
});

test('Tab is pressed from the top: every stop can be seen', async (t) => {
  const page = await openFound(t);
  for (let stop = 0; stop < 40; ++stop) {
    await press(page, 'Tab');
    const outline = await page.evaluate(() => {
      const element = document.activeElement;
      const shown = element.matches('[type=radio]') ? element.closest('label') : element;
      return `${getComputedStyle(shown).outlineStyle} ${getComputedStyle(shown).outlineWidth}`;
    });
    assert.equal(outline, 'solid 2px');
  }
});
