// The page, as people go through it: node --test tests/studio
import assert from "node:assert/strict";
import { execFileSync, spawn } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, test } from "node:test";

import { axeSource, browser, filesBelow, hashOf, opened, picturesOf, ready, root, served, taken } from "./support.mjs";

const server = await served();
const chromium = await browser();
const folder = mkdtempSync(join(tmpdir(), "orvandel-studio-files-"));
after(async () => {
  await chromium.close();
  server.close();
  rmSync(folder, { recursive: true, force: true });
});

const scene = `// Kept: what stands here.
{
  "version": 1, "width": 192, "height": 108, "frameRate": 25, "duration": 1, "preroll": 1,
  "parameters": {
    "Frequency": 5, // kept, too
    "Expansion": { "keyframes": [
      { "time": 0, "value": 3 }, // slow
      { "time": 0.8, "value": 6 } // fast
    ] }
  }
}
`;
const field = (page, name) => page.getByRole("spinbutton", { name, exact: true });
const button = (page, name) => page.getByRole("button", { name, exact: true });
const text = (page) => page.evaluate(() => window.orvandel.save());
const load = (page, sceneText, files = {}, name) =>
  page.evaluate(([...all]) => window.orvandel.load(...all), [sceneText, files, name]);
const still = () => assert.deepEqual(chromium.troubles.splice(0), []);

async function dragged(page, from, by) {
  await from.scrollIntoViewIfNeeded();
  const box = await from.boundingBox();
  const [x, y] = [box.x + box.width / 2, box.y + box.height / 2];
  await page.mouse.move(x, y);
  await page.mouse.down();
  for (let i = 1; i <= 8; ++i) await page.mouse.move(x + (by[0] * i) / 8, y + (by[1] * i) / 8);
  await page.mouse.up();
}

async function exported(page, kind) {
  await page.keyboard.press("Control+e");
  await page.getByRole("combobox", { name: "What to export" }).selectOption(kind);
  const { name, bytes } = await taken(page, () =>
    page.getByRole("dialog").getByRole("button", { name: "Export", exact: true }).click(),
  );
  await page.getByRole("dialog").getByRole("button", { name: "Close" }).click();
  writeFileSync(join(folder, name), bytes);
  return join(folder, name);
}

const orvandel = process.env.ORVANDEL ?? join(root, "build/release/bin/orvandel");
async function servedBy(file) {
  const program = spawn(orvandel, ["studio", file, "--no-browser"]);
  const address = await new Promise((resolve, reject) => {
    program.stdout.once("data", (line) => resolve(String(line).trim()));
    program.stderr.on("data", (line) => /error/.test(line) && reject(new Error(line)));
  });
  return { address, close: () => program.kill("SIGKILL") };
}

test("the page opens with a picture, offline too, and says and fetches nothing that it should not", async () => {
  const page = await opened(await chromium.page(), server.address);
  await page.evaluate(() => navigator.serviceWorker.ready);
  await page.reload();
  await page.context().setOffline(true);
  await opened(page, server.address);
  await page.context().setOffline(false);
  await page.close();
  still();
});

test("open, change, key, scrub, undo, save, reload: the file differs only where it was changed", async () => {
  const page = await opened(await chromium.page(), server.address);
  const file = join(folder, "mine.json");
  writeFileSync(file, scene);
  const [chooser] = await Promise.all([page.waitForEvent("filechooser"), button(page, "Open").click()]);
  await chooser.setFiles(file);
  await page.getByText("192 × 108").waitFor();

  await field(page, "Frequency").fill("7.5");
  await field(page, "Frequency").press("Enter");
  await dragged(page, field(page, "Start Width"), [80, 0]);
  assert.equal(await field(page, "Start Width").inputValue(), "7.00");
  await page.getByRole("combobox", { name: "Profile", exact: true }).selectOption("Bell");
  await dragged(page, page.getByRole("button", { name: /^Producer Point/ }), [60, 30]);
  const [, x] = /"Producer Point": \[([\d.]+), /.exec(await text(page));
  assert.ok(Number(x) > 96);

  // A key at frame 10, one moved by the keyboard, one dragged onto another place, all of it taken back again.
  const before = await text(page);
  await field(page, "Frame").fill("10");
  await button(page, "Key for Expansion").click();
  assert.match(await text(page), /"time": 0.4, "value": 4.5/);
  await button(page, "Key of Expansion at frame 10").press("ArrowRight");
  await dragged(page, button(page, "Key of Expansion at frame 11"), [-120, 0]);
  assert.match(await text(page), /"time": 0.28, "value": 4.5/);
  assert.equal(await page.getByRole("button", { name: /^Key of Expansion/ }).count(), 3);
  await page.getByRole("combobox", { name: "Ease", exact: true }).selectOption("ease-in-out");
  await field(page, "Curve y1").fill("0.25");
  assert.match(await text(page), /"interp": \[0.42, 0.25, 0.58, 1\]/);
  for (let i = 0; i < 5; ++i) await page.keyboard.press("Control+z");
  assert.equal(await text(page), before);
  for (let i = 0; i < 5; ++i) await page.keyboard.press("Control+Shift+z");
  // Over all others: a comment goes with its key.
  await dragged(page, button(page, "Key of Expansion at frame 0"), [790, 0]);
  assert.match(await text(page), /"value": 6 }, \/\/ fast\s+{ "time": 0.9\d*, "value": 3 } \/\/ slow\n/);
  await page.keyboard.press("Control+z");
  await dragged(page, page.getByRole("slider", { name: "Play head" }), [200, 0]);
  assert.ok(Number(await field(page, "Frame").inputValue()) > 10);

  const saved = await taken(page, () => button(page, "Save").click());
  const lines = saved.bytes.toString().split("\n");
  assert.equal(saved.name, "mine.json");
  assert.deepEqual(lines.slice(0, 3), scene.split("\n").slice(0, 3));
  assert.ok(lines.includes('    "Frequency": 7.5, // kept, too'), saved.bytes.toString());
  await page.waitForTimeout(700);
  await page.reload();
  await ready(page);
  assert.equal(await text(page), saved.bytes.toString());
  await page.close();
  still();
});

test("a mask moves by its points: keys where it is touched, nothing else in the file", async () => {
  const page = await opened(await chromium.page(), server.address);
  const masked = scene
    .replace('"Frequency": 5', '"Wave Type": "Mask", "Mask": "box", "Frequency": 5')
    .replace(
      '  "parameters"',
      '  "masks": { "box": { "d": "M 60 30 h 20 l 50 0 L 130 80 Z" } }, // a box\n  "parameters"',
    );
  await load(page, masked);
  await page.getByRole("tab", { name: "Media & masks" }).click();
  await button(page, "Let it move").click();
  await field(page, "Frame").fill("20");
  const point = (number) => page.getByRole("button", { name: new RegExp(`^Point ${number} of box`) });
  await dragged(page, point(2), [80, 40]);
  const path = (time) =>
    new RegExp(`"time": ${time}, "d": "M ?60 30 H ?80 L ?([\\d.]+) ([\\d.]+) L ?130 80 Z" }`).exec(written);
  let written = await text(page);
  const [, x, y] = path("0.8");
  assert.ok(Number(x) > 130 && Number(y) > 30, written);
  await field(page, "Frame").fill("10");
  await button(page, "Key here").click();
  written = await text(page);
  const [, halfX, halfY] = path("0.4");
  assert.ok(Math.abs(halfX - (130 + Number(x)) / 2) < 0.1 && Math.abs(halfY - (30 + Number(y)) / 2) < 0.1, written);
  assert.ok(written.includes("// a box") && written.includes("// kept, too"));
  assert.equal((await load(page, written)).frames, 25);
  await page.close();
  still();
});

test("every reference frame has its bytes", async () => {
  const page = await opened(await chromium.page(), server.address);
  await page.evaluate(`window.hashOf = ${hashOf}`);
  const golden = join(root, "tests/golden");
  const files = Object.fromEntries(
    filesBelow(join(golden, "scenes")).map(([name, bytes]) => [name, bytes.toString("base64")]),
  );
  await page.evaluate(
    (encoded) =>
      (window.files = Object.fromEntries(
        Object.entries(encoded).map(([name, bytes]) => [name, Uint8Array.from(atob(bytes), (c) => c.charCodeAt(0))]),
      )),
    files,
  );
  const rows = readFileSync(join(golden, "reference_frames.tsv"), "utf8")
    .split("\n")
    .filter((row) => row && row[0] !== "#")
    .map((row) => row.split("\t"));
  const differing = [];
  for (const name of new Set(rows.map(([each]) => each))) {
    const wanted = rows.filter(([each]) => each === name);
    const hashes = await page.evaluate(
      async ([sceneText, sceneName, frames]) => {
        await window.orvandel.load(sceneText, window.files, sceneName);
        return Promise.all(
          frames.map(async ([, frame, quality, downsample]) =>
            window.hashOf(await window.orvandel.frame(+frame, { quality, downsample: +downsample, effect: 0 })),
          ),
        );
      },
      [Buffer.from(files[name], "base64").toString(), name, wanted],
    );
    wanted.forEach((row, i) => row[4] !== hashes[i] && differing.push(`${row.join(" ")}: ${hashes[i]}`));
  }
  assert.ok(rows.length > 0);
  assert.deepEqual(differing, []);
  await page.close();
  still();
});

test("what is taken away holds the frames", async () => {
  const page = await opened(await chromium.page(), server.address);
  await load(page, scene, {}, "out.json");
  await page.evaluate(`window.hashOf = ${hashOf}`);
  const frames = await page.evaluate(() =>
    Promise.all(Array.from({ length: 25 }, async (_, i) => window.hashOf(await window.orvandel.frame(i)))),
  );
  execFileSync("python3", ["-m", "zipfile", "-e", await exported(page, "zip"), folder]);
  const pngs = Array.from({ length: 25 }, (_, i) =>
    readFileSync(join(folder, `out.${String(i).padStart(4, "0")}.png`)),
  );
  assert.deepEqual(pngs.flatMap(picturesOf).map(hashOf), frames);
  assert.deepEqual(picturesOf(readFileSync(await exported(page, "apng"))).map(hashOf), frames);
  assert.deepEqual(readFileSync(await exported(page, "png")), pngs[0]);
  for (const kind of ["webm", "mp4"]) {
    const bytes = readFileSync(await exported(page, kind)).toString("base64");
    const film = await page.evaluate(
      async ([encoded, type]) => {
        const video = document.createElement("video");
        video.src = URL.createObjectURL(new Blob([Uint8Array.from(atob(encoded), (c) => c.charCodeAt(0))], { type }));
        await new Promise((done, failed) =>
          Object.assign(video, { onloadeddata: done, onerror: () => failed(new Error(video.error.message)) }),
        );
        return [video.videoWidth, video.videoHeight, Math.round(video.duration * 25)];
      },
      [bytes, `video/${kind}`],
    );
    assert.deepEqual(film, [192, 108, 25], kind);
  }
  await page.close();
  still();
});

test("everything is reached and named without a mouse, in dark and light", async () => {
  const page = await opened(await chromium.page(), server.address);
  await page.evaluate(axeSource);
  const findings = async (where) => {
    const { violations } = await page.evaluate(() =>
      window.axe.run(document, { runOnly: ["wcag2a", "wcag2aa", "wcag21a", "wcag21aa", "wcag22aa", "best-practice"] }),
    );
    return violations.map(
      ({ id, nodes }) =>
        `${where}: ${id}: ${nodes
          .slice(0, 3)
          .map(({ html }) => html.slice(0, 160))
          .join(" | ")}`,
    );
  };
  const found = [];
  await load(page, scene);
  await page.keyboard.press("Control+a");
  for (const colours of ["dark", "light"]) {
    await page.emulateMedia({ reducedMotion: "reduce" });
    if ((await page.evaluate(() => document.documentElement.dataset.theme)) !== colours)
      await page.keyboard.press("Shift+D");
    for (const tab of ["Effect", "Scene", "Media & masks"]) {
      await page.getByRole("tab", { name: tab, exact: true }).click();
      found.push(...(await findings(`${colours} ${tab}`)));
    }
    for (const [keys, title] of colours === "light"
      ? []
      : [
          ["?", "Keys"],
          ["Control+e", "Export"],
          ["t", "The scene as text"],
          ["p", "Presets"],
        ]) {
      await page.getByRole("tab", { name: "Effect", exact: true }).focus();
      await page.keyboard.press(keys);
      await page.getByRole("dialog", { name: title }).waitFor();
      if (title === "Presets") await page.getByText("Rain on still water").waitFor();
      found.push(...(await findings(`${colours} ${title}`)));
      await page.keyboard.press("Escape");
      await page.getByRole("dialog").waitFor({ state: "hidden" });
    }
  }
  assert.deepEqual(found, []);

  // A look, a key, a loop and a save with keys alone.
  await page.keyboard.press("/");
  await page.keyboard.type("spin");
  await page.keyboard.press("Tab");
  const seen = new Set();
  for (let i = 0; i < 12 && !seen.has("Spin"); ++i) {
    seen.add(
      await page.evaluate(
        () => document.activeElement.getAttribute("aria-label") ?? document.activeElement.textContent,
      ),
    );
    if (!seen.has("Spin")) await page.keyboard.press("Tab");
  }
  await page.keyboard.press("PageUp");
  await page.keyboard.press("Shift+Tab");
  await page.keyboard.press("Enter");
  assert.match(await text(page), /"Spin": { "keyframes": \[{ "time": 0, "value": 10 }\] }/);
  await page.getByRole("slider", { name: "Play head" }).focus();
  await page.keyboard.press("PageUp");
  await page.keyboard.press("d");
  await page.keyboard.press("Control+a");
  await page.keyboard.press("Control+c");
  await page.keyboard.press("End");
  await page.keyboard.press("Control+v");
  assert.match(
    await text(page),
    /"time": 0.4, "value": 10 },\s+{ "time": 0.96, "value": 10 },\s+{ "time": 1.36, "value": 10 }/,
  );
  await page.getByRole("button", { name: /^Producer Point/ }).focus();
  for (const key of ["ArrowRight", "Shift+ArrowDown"]) await page.keyboard.press(key);
  assert.match(await text(page), /"Producer Point": \[97, 64\]/);
  const saved = await taken(page, () => page.keyboard.press("Control+s"));
  assert.equal(saved.bytes.toString(), await text(page));
  await page.close();
  still();
});

test("how fast frames follow a hand is told", async (context) => {
  const page = await opened(await chromium.page(), server.address);
  await load(
    page,
    readFileSync(join(root, "examples/scenes/ripple.json"), "utf8").replace(
      '"width": 1280, "height": 720',
      '"width": 960, "height": 540',
    ),
    {},
    "ripple.json",
  );
  await field(page, "Frame").fill("90");
  await page.waitForTimeout(1500);
  await page.evaluate(() => {
    window.painted = [];
    const put = CanvasRenderingContext2D.prototype.putImageData;
    CanvasRenderingContext2D.prototype.putImageData = function (...all) {
      window.painted.push(performance.now());
      return put.apply(this, all);
    };
  });
  const box = await field(page, "Expansion").boundingBox();
  await page.mouse.move(box.x + 20, box.y + 10);
  await page.mouse.down();
  // The page moves its own hand, once a frame: a message from here takes longer than that.
  await field(page, "Expansion").evaluate(async (input, x) => {
    for (let i = 0; i < 150; ++i) {
      const clientX = x + 60 * Math.sin(i / 12);
      input.dispatchEvent(new PointerEvent("pointermove", { clientX, pointerId: 1, bubbles: true }));
      await new Promise(requestAnimationFrame);
    }
  }, box.x + 20);
  await page.mouse.up();
  const times = await page.evaluate(() => window.painted);
  const gaps = times
    .slice(1)
    .map((time, i) => time - times[i])
    .sort((a, b) => a - b);
  context.diagnostic(
    `${times.length} pictures while dragging at 960 x 540: one every ${gaps[gaps.length >> 1].toFixed(1)} ms, 95 % within ${gaps[Math.floor(gaps.length * 0.95)].toFixed(1)} ms`,
  );
  assert.ok(times.length > 5);
  await page.close();
  still();
});

test("served by the program: saves reach the disk, what changes there shows, and neither is lost", async () => {
  const file = join(folder, "served.json");
  writeFileSync(file, scene);
  const program = await servedBy(file);
  try {
    const page = await opened(await chromium.page(), program.address);
    await page.getByText("192 × 108").waitFor();
    await field(page, "Spin").fill("12");
    await page.keyboard.press("Control+s");
    await page.getByText("Saved to served.json.").waitFor();
    assert.equal(readFileSync(file, "utf8"), await text(page));
    assert.match(readFileSync(file, "utf8"), /"Spin": 12/);

    writeFileSync(file, scene.replace('"Frequency": 5', '"Frequency": 8'));
    await page.waitForFunction(() => window.orvandel.save().includes('"Frequency": 8'));
    await page.keyboard.press("Control+z");
    assert.match(await text(page), /"Spin": 12/);

    writeFileSync(file, scene.replace('"Frequency": 5', '"Frequency": 9'));
    await page.getByRole("dialog", { name: "The file changed on disk" }).waitFor();
    await button(page, "Save mine over it").click();
    await page.getByText("Saved to served.json.").waitFor();
    assert.match(readFileSync(file, "utf8"), /"Spin": 12/);
    await page.close();
    still();
  } finally {
    program.close();
  }
});

test("films show the pictures that the program shows, in any order, as background and where waves are born", async () => {
  const inFolder = (name) => join(folder, name);
  const render = (name, ...how) =>
    execFileSync(orvandel, ["render", inFolder(name), "--overwrite", ...how], { stdio: "pipe" });
  // Broad flat strokes that move fast: neighbours differ, and codecs lose little.
  const disc = { Frequency: 3, Expansion: 9, "Start Width": 30, "End Width": 30, Sides: 5, Color: "#ffd040" };
  const film = { version: 1, width: 192, height: 108, frameRate: 25, duration: 1.2, preroll: 0.4, parameters: disc };
  writeFileSync(inFolder("film.json"), JSON.stringify(film));
  for (const name of ["clip.webm", "clip.mp4", "clip.mov"]) render("film.json", "-o", inFolder(name));
  const plain = { version: 1, width: 192, height: 108, frameRate: 30, duration: 1, parameters: { Frequency: 5 } };
  const scenes = ["clip.mp4", "clip.webm"].flatMap((clip) => [
    { ...plain, background: { file: clip, start: 0.2 } },
    {
      ...plain,
      layers: { clip },
      parameters: { Frequency: 8, "Wave Type": "Image Contours", "Source Layer": "clip", "Value Channel": "Intensity" },
    },
  ]);
  writeFileSync(inFolder("filmed.json"), JSON.stringify(scenes[0]));
  const program = await servedBy(inFolder("filmed.json"));
  try {
    const page = await opened(await chromium.page(), program.address);
    const order = [20, 29, 4, 3];
    const shown = (number) => page.evaluate(async (n) => Array.from((await window.orvandel.frame(n)).data), number);
    const apart = (a, b) => a.reduce((sum, value, i) => sum + Math.abs(value - b[i]), 0) / a.length;
    for (const [i, each] of scenes.entries()) {
      writeFileSync(inFolder("filmed.json"), JSON.stringify(each));
      // The text is there before its film.
      await page.evaluate(async (now) => {
        while (window.orvandel.save() !== now || !(await window.orvandel.frame(0).catch(() => undefined)))
          await new Promise((later) => setTimeout(later, 50));
      }, JSON.stringify(each));
      render("filmed.json", "--frames", order.join(","), "-o", inFolder("filmed.####.png"));
      const wanted = order.map(
        (n) => picturesOf(readFileSync(inFolder(`filmed.${String(n).padStart(4, "0")}.png`)))[0].data,
      );
      for (const [k, number] of order.entries()) {
        const far = apart(wanted[k], await shown(number));
        const others = wanted.filter((_, other) => other !== k).map((other) => apart(wanted[k], other));
        assert.ok(far < 0.2 && far < Math.min(...others) / 4, `scene ${i}, frame ${number}: ${far}, others ${others}`);
      }
    }
    await field(page, "Frame").fill("4");
    await page.waitForSelector('canvas[data-frame="4"][data-quality="full"]');
    const [png] = picturesOf(readFileSync(await exported(page, "png")));
    assert.deepEqual(Array.from(png.data), await shown(4));

    const dropped = await page.evaluateHandle(
      (encoded) => {
        const all = new DataTransfer();
        all.items.add(new File([Uint8Array.from(atob(encoded), (c) => c.charCodeAt(0))], "drop.mov"));
        return all;
      },
      readFileSync(inFolder("clip.mov")).toString("base64"),
    );
    await page.dispatchEvent("main", "drop", { dataTransfer: dropped });
    await page
      .getByText("Not shown here: background, file (drop.mov): this browser does not decode its codec, prores")
      .waitFor();
    assert.match(await text(page), /"background":\s*{\s*"file":\s*"drop.mov"\s*}/);
    await page.close();
    still();
  } finally {
    program.close();
  }
});
