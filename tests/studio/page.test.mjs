// The page, as people go through it: node --test tests/studio
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";

import { browser, opened, root, served } from "./support.mjs";

const server = await served();
const chromium = await browser();
after(async () => {
  await chromium.close();
  server.close();
});

test("the page opens with a picture, offline too, and says and fetches nothing that it should not", async () => {
  const page = await opened(await chromium.page(), server.address);
  await page.evaluate(() => navigator.serviceWorker.ready);
  await page.reload();
  await page.context().setOffline(true);
  await opened(page, server.address);
  await page.context().setOffline(false);
  assert.deepEqual(chromium.troubles, []);
});
