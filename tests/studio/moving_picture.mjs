// Records docs/pictures/studio.webp, a look made in the page: node tests/studio/moving_picture.mjs (needs ffmpeg)
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";

import { browser, opened, root, served } from "./support.mjs";

const folder = mkdtempSync(join(tmpdir(), "orvandel-studio-film-"));
const server = await served();
const chromium = await browser({ width: 1200, height: 750 });
chromium.context.setDefaultTimeout(60000);
const page = await opened(await chromium.page(), server.address);
let count = 0;
const shoot = async (times = 1) => {
  for (let i = 0; i < times; ++i)
    await page.screenshot({ path: join(folder, `${String(count++).padStart(3, "0")}.png`) });
};
const centre = async (element) => {
  const { x, y, width, height } = await element.boundingBox();
  return [x + width / 2, y + height / 2];
};
const drag = async (element, by, steps) => {
  const [x, y] = await centre(element);
  await page.mouse.move(x, y);
  await page.mouse.down();
  for (let i = 1; i <= steps; ++i) {
    await page.mouse.move(x + (by[0] * i) / steps, y + (by[1] * i) / steps);
    await page.waitForTimeout(60);
    await shoot();
  }
  await page.mouse.up();
  await page.waitForTimeout(400);
  await shoot(2);
};

const scene = readFileSync(join(root, "examples/scenes/star_burst.json"), "utf8");
await page.evaluate((text) => window.orvandel.load(text, {}, "star_burst.json"), scene);
await page.getByRole("spinbutton", { name: "Frame", exact: true }).fill("45");
await page.waitForTimeout(1500);
await shoot(2);
await drag(page.getByRole("button", { name: /^Producer Point/ }), [-130, 60], 7);
await drag(page.getByRole("spinbutton", { name: "Start Width", exact: true }), [110, 0], 6);
await page.getByRole("button", { name: "Key for Spin", exact: true }).click();
await drag(page.getByRole("slider", { name: "Play head" }), [160, 0], 6);
await drag(page.getByRole("spinbutton", { name: "Spin", exact: true }), [90, 0], 6);
await drag(page.getByRole("slider", { name: "Play head" }), [-160, 0], 6);
await chromium.close();
server.close();
execFileSync("ffmpeg", [
  ...["-loglevel", "error", "-y", "-framerate", "6", "-i", join(folder, "%03d.png"), "-vf", "scale=960:-1:flags=lanczos"],
  ...["-c:v", "libwebp_anim", "-quality", "70", "-loop", "0", join(root, "docs/pictures/studio.webp")],
]);
rmSync(folder, { recursive: true });
