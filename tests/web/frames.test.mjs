// The reference frames, rendered by the WebAssembly build in node: node --test tests/web
import assert from "node:assert/strict";
import { readFileSync, readdirSync, statSync } from "node:fs";
import { join, relative } from "node:path";
import { test } from "node:test";
import { inflateSync } from "node:zlib";

import { Orvandel, OrvandelError } from "../../web/core/orvandel.mjs";

const root = new URL("../../", import.meta.url).pathname;
const golden = join(root, "tests/golden");
const wasm = await WebAssembly.compile(readFileSync(process.env.ORVANDEL_WASM ?? join(root, "build/web/bin/orvandel.wasm")));

function filesBelow(folder, top = folder) {
  return readdirSync(folder).flatMap((name) => {
    const file = join(folder, name);
    return statSync(file).isDirectory() ? filesBelow(file, top) : [[relative(top, file), new Uint8Array(readFileSync(file))]];
  });
}

// 64-bit FNV-1a over alpha, red, green, blue, in two halves of 32 bits: big integers take fifty times as long.
function hashOf({ data }) {
  let high = 0xcbf29ce4, low = 0x84222325;
  for (let pixel = 0; pixel < data.length; pixel += 4) {
    for (let channel = 3; channel < 7; ++channel) {
      low = (low ^ data[pixel + (channel & 3)]) >>> 0;
      // Times 2^40 + 0x1b3.
      const product = low * 0x1b3;
      high = (Math.imul(high, 0x1b3) + Math.floor(product / 2 ** 32) + (low << 8)) >>> 0;
      low = product >>> 0;
    }
  }
  return high.toString(16).padStart(8, "0") + low.toString(16).padStart(8, "0");
}

test("the reference frames have their bytes", async () => {
  const files = Object.fromEntries(filesBelow(join(golden, "scenes")));
  const rows = readFileSync(join(golden, "reference_frames.tsv"), "utf8").split("\n").filter((row) => row && row[0] !== "#");
  const orvandel = await Orvandel.open(wasm);
  let loaded, differing = [];
  for (const row of rows) {
    const [scene, frame, quality, downsample, hash] = row.split("\t");
    if (scene !== loaded) orvandel.load(readFileSync(join(golden, "scenes", scene), "utf8"), files, (loaded = scene));
    const picture = orvandel.frame(+frame, { quality, downsample: +downsample, effect: 0 });
    if (hashOf(picture) !== hash) differing.push(`${row} rendered ${hashOf(picture)}`);
  }
  assert.ok(rows.length > 0);
  assert.deepEqual(differing, []);
});

test("a PNG holds the frame's bytes", async () => {
  const orvandel = await Orvandel.open(wasm);
  orvandel.load(readFileSync(join(root, "examples/scenes/ripple.json"), "utf8"));
  const { width, height, data } = orvandel.frame(40, { downsample: 4 });
  const png = Buffer.from(orvandel.png());
  const idat = [];
  for (let at = 8; at < png.length; at += 12 + png.readUInt32BE(at)) {
    if (png.toString("latin1", at + 4, at + 8) === "IDAT") idat.push(png.subarray(at + 8, at + 8 + png.readUInt32BE(at)));
  }
  const rows = inflateSync(Buffer.concat(idat));
  for (let y = 0; y < height; ++y) {
    const [filter, ...row] = rows.subarray(y * (4 * width + 1), (y + 1) * (4 * width + 1));
    assert.equal(filter, row.some((byte) => byte) ? 1 : 0); // differences to the pixel before
    for (let x = 4; x < row.length; ++x) row[x] = (row[x] + row[x - 4]) & 255;
    assert.deepEqual(row, [...data.subarray(4 * width * y, 4 * width * (y + 1))]);
  }
});

test("what is wrong is said, and the next scene renders", async () => {
  const orvandel = await Orvandel.open(wasm);
  assert.throws(() => orvandel.frame(0), /no scene is loaded/);
  const scene = (changes) => JSON.stringify({ version: 1, frameRate: 30, width: 64, height: 36, duration: 1, ...changes });
  const complaints = (text) => {
    try {
      orvandel.load(text);
    } catch (error) {
      assert.ok(error instanceof OrvandelError);
      return error.complaints;
    }
  };
  const [frequency, angle] = complaints(scene({ parameters: { Frequencx: 1, Orientation: "x" } }));
  assert.deepEqual([frequency.pointer, frequency.nearest], ["/parameters/Frequencx", "Frequency"]);
  assert.equal(angle.pointer, "/parameters/Orientation");
  assert.match(complaints("{")[0].message, /scene.json/);
  assert.match(complaints(scene({ input: "plate.png" }))[0].message, /"plate.png" does not exist/);
  assert.match(complaints(scene({ width: 0 }))[0].message, /width/);
  assert.equal(orvandel.load(scene()).frames, 30);
  for (const frame of [-1, 30]) assert.throws(() => orvandel.frame(frame), /is outside 0\.\.29/);
  assert.equal(orvandel.frame(29, { downsample: 3 }).width, 22);
  assert.throws(() => orvandel.frame(0, { downsample: 0 }), /outside 1\.\.64/);
  assert.equal(orvandel.schema().type, "object");
});
