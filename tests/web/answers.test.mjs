// What a page asks beside pictures, and what it shows of scenes that it cannot show whole: node --test tests/web
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";

import { Orvandel } from "../../web/core/orvandel.mjs";

const root = new URL("../../", import.meta.url).pathname;
const orvandel = await Orvandel.open(readFileSync(process.env.ORVANDEL_WASM ?? join(root, "build/web/bin/orvandel.wasm")));
const scene = (parameters, more) => JSON.stringify({ version: 1, frameRate: 30, width: 64, height: 36, duration: 4, parameters, ...more });
const draws = (() => { let state = 1; return () => (state = (Math.imul(state, 1664525) + 1013904223) | 0) >> 16; })();

// Samples of 16 bits as a file of another form.
function wav(samples, { bits, floating = false, channels = 1, rate = 6000 }) {
  const width = bits / 8, data = Buffer.alloc(samples.length * width * channels), head = Buffer.alloc(44);
  samples.forEach((sample, i) => {
    for (let at = i * channels * width; at < (i + 1) * channels * width; at += width) {
      if (floating) bits === 64 ? data.writeDoubleLE(sample / 32768, at) : data.writeFloatLE(sample / 32768, at);
      else data.writeIntLE(sample * 2 ** (bits - 16), at, width);
    }
  });
  head.write("RIFF", 0), head.writeUInt32LE(36 + data.length, 4), head.write("WAVEfmt ", 8), head.writeUInt32LE(16, 16);
  head.writeUInt16LE(floating ? 3 : 1, 20), head.writeUInt16LE(channels, 22), head.writeUInt32LE(rate, 24), head.writeUInt32LE(rate * width * channels, 28);
  head.writeUInt16LE(width * channels, 32), head.writeUInt16LE(bits, 34), head.write("data", 36), head.writeUInt32LE(data.length, 40);
  return new Uint8Array(Buffer.concat([head, data]));
}

test("values are what they follow: keys, formulas, and a sound in every form of WAV alike", () => {
  const keys = [{ time: 0, value: 1 }, { time: 2, value: 3 }];
  orvandel.load(scene({ Frequency: { keyframes: keys }, Expansion: { expression: "2 + sin(t)" }, "Producer Point": [{ expression: "frame" }, 7], Color: "#102030", Sides: 5 }));
  const values = (name) => orvandel.values(0, name, 0, 40, 3);
  const times = Array.from({ length: 40 }, (_, i) => i / 10);
  const near = (got, wanted) => got.forEach((value, i) => assert.ok(Math.abs(value - wanted[i]) < 1e-9, `${value} ${wanted[i]}`));
  near(values("Frequency"), times.map((t) => Math.min(1 + t, 3)));
  near(values("Expansion"), times.map((t) => 2 + Math.sin(t)));
  assert.deepEqual(values("Producer Point")[2], [6, 7]);
  assert.equal(orvandel.values(0, "Color", 5)[0], "#102030");
  for (const bad of [[1, "Sides", 0], [0, "Sidez", 0], [0, "Sides", 120], [0, "Sides", 0, 99999999]]) assert.throws(() => orvandel.values(...bad), /outside|no parameter|too many/);

  const samples = Array.from({ length: 12000 }, (_, i) => (i < 6000 ? 0 : draws() * (i / 12000)) | 0);
  const forms = [{ bits: 16 }, { bits: 24 }, { bits: 32 }, { bits: 32, floating: true }, { bits: 64, floating: true }, { bits: 16, channels: 2 }];
  const heard = forms.map((form) => {
    const { parts } = orvandel.load(scene({ Opacity: { audio: { file: "beat.mp3", band: "mid", min: 0.25, max: 1 } } }), { "beat.mp3": wav(samples, form) });
    assert.deepEqual(parts, []);
    return orvandel.values(0, "Opacity", 0, 120);
  });
  for (const each of heard) assert.deepEqual(each, heard[0]);
  assert.deepEqual([...new Set(heard[0].slice(0, 29))], [0.25]);
  assert.ok(Math.max(...heard[0]) > 0.95 && heard[0][119] < 0.26);
  for (const cut of [13, 30, 44, 5001]) {
    try {
      orvandel.load(scene({ Opacity: { audio: { file: "beat.mp3", min: 0, max: 1 } } }), { "beat.mp3": wav(samples, forms[1]).slice(0, cut) });
    } catch (error) {
      assert.equal(error.complaints[0].pointer, "/parameters/Opacity/audio/file");
    }
  }
});

test("a scene that cannot be shown whole shows the rest and says which part is missing", () => {
  const film = { Frequency: 3, Expansion: 3, "Start Width": 8 };
  orvandel.load(scene(film));
  const { data } = orvandel.frame(30);
  const junk = new TextEncoder().encode("no medium of any kind");
  const more = { background: "clip.mp4", layers: { a: "a.jpg" }, input: { file: "s.%02d.webp" } };
  const { parts } = orvandel.load(scene({ ...film, Opacity: { audio: { file: "a.ogg", min: 1, max: 0.2 } } }, more), { "clip.mp4": junk, "a.jpg": junk, "s.01.webp": junk, "a.ogg": junk });
  assert.deepEqual(parts.map(({ pointer, file }) => [pointer, file]), [["/input/file", "s.%02d.webp"], ["/background", "clip.mp4"], ["/layers/a", "a.jpg"], ["", "a.ogg"]]);
  assert.match(parts[3].message, /Opacity is as in silence/);
  const into = new ArrayBuffer(data.length + 5);
  const again = orvandel.frame(30, { effect: 0, into });
  assert.deepEqual(again.data, data);
  assert.equal(again.data.buffer, into);
  assert.notEqual(orvandel.frame(30, { effect: 0, into: new ArrayBuffer(9) }).data.length, 9);
  assert.equal(orvandel.frame(30).data.length, data.length);
});

test("the effect says how its parameters look and where its waves are", () => {
  const names = orvandel.catalog().map(({ name }) => name);
  orvandel.load(scene({ "Wave Type": "Mask", Mask: "m", "Producer Point": [20, 18], Velocity: 0, Expansion: 2 }, { masks: { m: { d: "M 10 10 H 30 V 20 Z" } } }));
  const { inactive, open } = orvandel.shown(0, 0);
  assert.ok(inactive.includes("Sides") && !inactive.includes("Mask") && inactive.every((name) => names.includes(name)));
  assert.ok(open.includes("Mask"));
  assert.deepEqual(orvandel.masks(0).map(({ name, closed, segments }) => [name, closed, segments.map((cubic) => cubic.slice(-2))]), [["m", true, [[30, 10], [30, 20], [10, 10]]]]);
  for (const frame of [90, 3, 60]) {
    const waves = orvandel.waves(0, frame);
    assert.ok(waves.length > 0);
    waves.forEach(({ age, size, centre, outline }, i) => {
      assert.ok(i === 0 || age < waves[i - 1].age);
      assert.ok(centre[0] === 20 && centre[1] === 18 && Math.abs(size - age * 60) < 0.01);
      const reach = Math.max(...outline.map(([x, y]) => Math.hypot(x - 20, y - 18)));
      assert.ok(outline.length === 0 || Math.abs(reach - size) < 0.01, `${reach} ${size}`);
    });
  }
  assert.ok(orvandel.remarks().notes.some((note) => /mask "m"/.test(note)));
});
