// The package for node as a person meets it: unpacked in a folder of its own, a scene begun, checked and rendered.
import assert from "node:assert/strict";
import { execFileSync, spawnSync } from "node:child_process";
import { mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync, symlinkSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "node:test";

const root = new URL("../../", import.meta.url).pathname;
const home = mkdtempSync(join(tmpdir(), "orvandel-npm-"));
process.on("exit", () => rmSync(home, { recursive: true, force: true }));
const archive = readdirSync(join(root, "build/npm")).find((name) => name.endsWith(".tgz"));
execFileSync("tar", ["-xf", join(root, "build/npm", archive), "-C", home]);

function orvandel(...words) {
  const { status, stdout, stderr } = spawnSync("node", ["package/bin/orvandel.mjs", ...words], { cwd: home, encoding: "utf8" });
  return { status, stdout, said: stderr };
}
const rendered = (folder) => readdirSync(join(home, folder)).sort().map((name) => [name, readFileSync(join(home, folder, name), "base64")]);

test("a scene is begun, checked and rendered, with the same files for any number of threads", () => {
  assert.equal(orvandel("new", "mine.json", "--from", "tunnel").status, 0);
  assert.equal(orvandel("check", "mine.json").status, 0);
  const render = (folder, ...more) => orvandel("render", "mine.json", "-o", `${folder}/f.###.png`, "--downsample", "4", "-F", "3,0,20-26x3", ...more);
  assert.equal(render("one", "-j", "1").status, 0);
  assert.equal(render("three", "-j", "3").status, 0);
  assert.deepEqual(rendered("one").map(([name]) => name), ["f.000.png", "f.003.png", "f.020.png", "f.023.png", "f.026.png"]);
  assert.deepEqual(rendered("one"), rendered("three"));
  // What exists stays, or is what is missing done.
  assert.match(render("one").said, /f\.003\.png exists/);
  rmSync(join(home, "one/f.020.png"));
  assert.match(render("one", "--resume").said, /1 frames .* 4 kept/);
  assert.deepEqual(rendered("one"), rendered("three"));
});

test("a stranger's scene reads its own folder alone, and mistakes are told", () => {
  mkdirSync(join(home, "inside"));
  writeFileSync(join(home, "mask.svg"), '<svg xmlns="http://www.w3.org/2000/svg"><path d="M0 0H9V9z"/></svg>');
  symlinkSync("../mask.svg", join(home, "inside/link.svg"));
  for (const name of ["../mask.svg", join(home, "mask.svg"), "link.svg"]) {
    const scene = { version: 1, width: 64, height: 36, frameRate: 30, duration: 1, masks: { m: { file: name } } };
    writeFileSync(join(home, "inside/scene.json"), JSON.stringify(scene));
    const { status, said } = orvandel("check", "inside/scene.json");
    assert.deepEqual([status, said.includes("does not exist")], [2, true], said);
  }
  writeFileSync(join(home, "film.json"), JSON.stringify({ version: 1, width: 64, height: 36, frameRate: 30, duration: 1, background: "mask.svg" }));
  for (const [words, reason] of [
    [["render", "film.json", "-o", "x.png"], /film\.json: \/background: mask\.svg is not shown/],
    [["render"], /a scene file is missing/],
    [["rende", "mine.json"], /'rende' is none of render, check/],
    [["render", "mine.json", "-o", "film.mp4"], /does not end in \.png/],
    [["render", "mine.json", "-o", "x.png", "-F", "9-3"], /runs backwards/],
    [["render", "mine.json", "-o", "x.png", "-j", "0"], /--jobs: '0' is not a whole number in 1\.\.256/],
    [["new", "mine.json"], /mine\.json exists/],
  ]) {
    const { status, said } = orvandel(...words);
    assert.equal(status, 2, words.join(" "));
    assert.match(said, reason);
  }
});
