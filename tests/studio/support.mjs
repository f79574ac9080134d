// The built page in a real browser, from a plain static server, with everything that it should not say or fetch noted.
import { createServer } from "node:http";
import { createRequire } from "node:module";
import { mkdtempSync, readFileSync, rmSync, statSync } from "node:fs";
import { tmpdir } from "node:os";
import { extname, join, normalize } from "node:path";

export const root = new URL("../../", import.meta.url).pathname;
const require = createRequire(join(root, "web/studio/package.json"));
const { chromium } = require("playwright-core");
export const axeSource = readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");

const kTypes = { ".html": "text/html", ".js": "text/javascript", ".css": "text/css", ".wasm": "application/wasm", ".json": "application/json", ".svg": "image/svg+xml", ".png": "image/png", ".wav": "audio/wav" };

export async function served(folder = join(root, "build/studio")) {
  const server = createServer((request, response) => {
    const path = normalize(decodeURIComponent(new URL(request.url, "http://x").pathname));
    const file = join(folder, path.endsWith("/") ? `${path}index.html` : path);
    try {
      response.writeHead(200, { "Content-Type": kTypes[extname(file)] ?? "application/octet-stream", "Content-Length": statSync(file).size }).end(readFileSync(file));
    } catch {
      response.writeHead(404).end();
    }
  });
  await new Promise((done) => server.listen(0, "127.0.0.1", done));
  return { address: `http://127.0.0.1:${server.address().port}/`, close: () => server.close() };
}

export async function browser({ width = 1440, height = 900 } = {}) {
  const profile = mkdtempSync(join(tmpdir(), "orvandel-studio-"));
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: "/usr/bin/chromium", headless: true, viewport: { width, height }, acceptDownloads: true, permissions: ["clipboard-read", "clipboard-write"],
    args: ["--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync", "--autoplay-policy=no-user-gesture-required"],
  });
  context.setDefaultTimeout(20000);
  const troubles = [];
  context.on("request", (request) => /^(http:\/\/127\.0\.0\.1|blob:|data:)/.test(request.url()) || troubles.push(`fetched ${request.url()}`));
  context.on("page", (page) => {
    page.on("console", (message) => ["error", "warning"].includes(message.type()) && troubles.push(message.text()));
    page.on("pageerror", (error) => troubles.push(String(error)));
  });
  return {
    context,
    troubles,
    page: () => context.newPage(),
    async close() {
      await context.close();
      rmSync(profile, { recursive: true, force: true });
    },
  };
}

/** The page with its first whole picture. */
export async function opened(page, address) {
  await page.goto(address);
  await ready(page);
  return page;
}

export async function ready(page) {
  await page.waitForSelector('canvas[data-quality="full"]');
  await page.getByRole("spinbutton", { name: "Frequency", exact: true }).waitFor();
}

/** The downloaded file's bytes. */
export async function taken(page, act) {
  const [download] = await Promise.all([page.waitForEvent("download", { timeout: 60000 }), act()]);
  return { name: download.suggestedFilename(), bytes: readFileSync(await download.path()) };
}
