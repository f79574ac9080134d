// The built page in a real browser, from a plain static server, with everything that it should not say or fetch noted.
import { createServer } from "node:http";
import { createRequire } from "node:module";
import { mkdtempSync, readFileSync, readdirSync, rmSync, statSync } from "node:fs";
import { tmpdir } from "node:os";
import { inflateSync } from "node:zlib";
import { extname, join, normalize, relative } from "node:path";

export const root = new URL("../../", import.meta.url).pathname;
const require = createRequire(join(root, "web/studio/package.json"));
const { chromium } = require("playwright-core");
export const axeSource = readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");

const kTypes = {
  ".html": "text/html",
  ".js": "text/javascript",
  ".css": "text/css",
  ".wasm": "application/wasm",
  ".json": "application/json",
  ".svg": "image/svg+xml",
  ".png": "image/png",
  ".wav": "audio/wav",
};

export async function served(folder = join(root, "build/studio")) {
  const server = createServer((request, response) => {
    const path = normalize(decodeURIComponent(new URL(request.url, "http://x").pathname));
    const file = join(folder, path.endsWith("/") ? `${path}index.html` : path);
    try {
      response
        .writeHead(200, {
          "Content-Type": kTypes[extname(file)] ?? "application/octet-stream",
          "Content-Length": statSync(file).size,
        })
        .end(readFileSync(file));
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
    executablePath: "/usr/bin/chromium",
    headless: true,
    viewport: { width, height },
    acceptDownloads: true,
    permissions: ["clipboard-read", "clipboard-write"],
    args: [
      "--no-sandbox",
      "--disable-gpu",
      "--no-first-run",
      "--disable-background-networking",
      "--disable-component-update",
      "--disable-sync",
      "--autoplay-policy=no-user-gesture-required",
    ],
  });
  context.setDefaultTimeout(20000);
  const troubles = [];
  context.on(
    "request",
    (request) =>
      /^(http:\/\/127\.0\.0\.1|blob:|data:)/.test(request.url()) || troubles.push(`fetched ${request.url()}`),
  );
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

export function filesBelow(folder, top = folder) {
  return readdirSync(folder).flatMap((name) => {
    const file = join(folder, name);
    return statSync(file).isDirectory() ? filesBelow(file, top) : [[relative(top, file), readFileSync(file)]];
  });
}

/** The hash of the reference tables, FNV-1a over alpha, red, green, blue; it also runs in the page. */
export function hashOf({ data }) {
  let high = 0xcbf29ce4,
    low = 0x84222325;
  for (let pixel = 0; pixel < data.length; pixel += 4) {
    for (let channel = 3; channel < 7; ++channel) {
      low = (low ^ data[pixel + (channel & 3)]) >>> 0;
      const product = low * 0x1b3;
      high = (Math.imul(high, 0x1b3) + Math.floor(product / 2 ** 32) + (low << 8)) >>> 0;
      low = product >>> 0;
    }
  }
  return high.toString(16).padStart(8, "0") + low.toString(16).padStart(8, "0");
}

/** The pictures of a PNG, animated or not, with rows as they are or as differences to the pixel before or above. */
export function picturesOf(png) {
  const [width, height] = [png.readUInt32BE(16), png.readUInt32BE(20)];
  const packed = [];
  for (let at = 8; at < png.length; at += 12 + png.readUInt32BE(at)) {
    const type = png.toString("latin1", at + 4, at + 8);
    const body = png.subarray(at + 8, at + 8 + png.readUInt32BE(at));
    if (type === "fcTL" || (type === "IDAT" && packed.length === 0)) packed.push([]);
    if (type === "IDAT" || type === "fdAT") packed[packed.length - 1].push(type === "IDAT" ? body : body.subarray(4));
  }
  return packed.map((parts) => {
    const rows = inflateSync(Buffer.concat(parts));
    const data = new Uint8Array(width * height * 4);
    for (let y = 0; y < height; ++y) {
      const from = y * (4 * width + 1);
      const filter = rows[from];
      if (filter > 2) throw new Error(`filter ${filter}`);
      for (let x = 0; x < 4 * width; ++x) {
        const at = 4 * width * y + x;
        const other = filter === 1 && x >= 4 ? at - 4 : filter === 2 && y > 0 ? at - 4 * width : -1;
        data[at] = rows[from + 1 + x] + (other < 0 ? 0 : data[other]);
      }
    }
    return { data };
  });
}
