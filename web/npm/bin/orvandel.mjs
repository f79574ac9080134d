#!/usr/bin/env node
// orvandel render, check, new and schema, for systems without a build of the program.
import { existsSync, mkdirSync, readFileSync, readdirSync, rmSync, writeFileSync } from "node:fs";
import { availableParallelism, cpus } from "node:os";
import { basename, dirname } from "node:path";
import { parseArgs } from "node:util";
import { Worker } from "node:worker_threads";

import { compiled, filesOf, open, OrvandelError } from "../index.mjs";
import { fileNamer, frameList } from "../lib/frame_list.mjs";

const kFailed = 1, kBadInput = 2, kInterrupted = 130;

const help = `Orvandel: expanding shapes from a scene file.

  orvandel new NAME.json [--from PRESET]       start a scene from a preset
  orvandel check SCENE.json                    what is wrong with a scene, every mistake there is
  orvandel render SCENE.json -o f.####.png     its frames as PNG pictures with alpha
  orvandel schema                              the scene file's JSON Schema, for editors

render:
  -o, --output NAME     the frame's number stands for ####, as many digits as there are #
  -F, --frames LIST     0,5,10-20,200-300x5 (every fifth); default: all
      --downsample K    1/K of the size
      --quality draft   one sample a pixel, coarser curves
  -j, --jobs N          threads; default: one a processor
      --overwrite       replace files that exist
      --resume          keep them, and render those that are missing
  -q, --quiet           neither progress nor summary

Media are PNG and SVG files below the scene's folder. Films, sounds and formulas need the program itself.
`;

class Usage extends Error {}

function sceneAt(file) {
  if (file === undefined) throw new Usage("a scene file is missing");
  let text;
  try {
    text = readFileSync(file, "utf8");
  } catch (error) {
    throw new Usage(`${file}: ${error.code === "ENOENT" ? "does not exist" : error.message}`);
  }
  return { text, files: filesOf(text, dirname(file)), name: basename(file) };
}

async function check([file]) {
  const scene = sceneAt(file);
  const facts = await wholly(scene);
  for (const note of facts.notes) console.log(`note: ${note}`);
  console.log(`${file}: good; ${facts.width} x ${facts.height}, ${facts.frames} frames at ${facts.frameRate} a second`);
}

function presets() {
  const folder = new URL("../scenes/", import.meta.url);
  return readdirSync(folder).filter((name) => name.endsWith(".json")).map((name) => name.slice(0, -5));
}

function start([file], { from = "ripple" }) {
  if (file === undefined) throw new Usage("a name for the new scene is missing");
  if (!presets().includes(from)) throw new Usage(`--from: '${from}' is none of ${presets().join(", ")}`);
  if (existsSync(file)) throw new Usage(`${file} exists`);
  writeFileSync(file, readFileSync(new URL(`../scenes/${from}.json`, import.meta.url)), { flag: "wx" });
  console.log(`${file} is ready: orvandel render ${file} -o f.####.png`);
}

function wholeNumber(name, text, least, most) {
  const number = Number(text);
  if (/^\d+$/.test(text) && number >= least && number <= most) return number;
  throw new Usage(`--${name}: '${text}' is not a whole number in ${least}..${most}`);
}

function plan(scene, facts, values) {
  if (values.output === undefined) throw new Usage("-o NAME.png is missing");
  if (values.overwrite && values.resume) throw new Usage("--overwrite and --resume exclude one another");
  if (!["full", "draft"].includes(values.quality)) throw new Usage(`--quality: '${values.quality}' is neither full nor draft`);
  const chosen = usage(() => (values.frames === undefined ? [...Array(facts.frames).keys()] : frameList(values.frames, facts.frames)));
  const fileOf = usage(() => fileNamer(values.output, chosen.length));
  const taken = chosen.filter((frame) => existsSync(fileOf(frame)));
  if (taken.length > 0 && !values.overwrite && !values.resume) {
    throw new Usage(`-o: ${fileOf(taken[0])} exists; --overwrite replaces files, --resume keeps them`);
  }
  const left = values.resume ? chosen.filter((frame) => !taken.includes(frame)) : chosen;
  const processors = typeof availableParallelism === "function" ? availableParallelism() : cpus().length;
  const jobs = Math.min(wholeNumber("jobs", values.jobs ?? String(processors), 1, 256), left.length);
  const options = { quality: values.quality, downsample: wholeNumber("downsample", values.downsample, 1, 64) };
  return { scene, frames: left, kept: chosen.length - left.length, fileOf, jobs, options };
}

function usage(work) {
  try {
    return work();
  } catch (error) {
    throw new Usage(error.message);
  }
}

async function renderAll({ scene, frames, fileOf, jobs, options }, progress) {
  const module = await compiled();
  const data = { module, sceneText: scene.text, files: scene.files, name: scene.name, options };
  const waiting = [...frames];
  const running = new Map(); // by worker: the file it works on
  let done = 0;
  process.once("SIGINT", () => {
    for (const file of running.values()) rmSync(`${file}.${process.pid}.part`, { force: true });
    process.stderr.write(`\ninterrupted after ${done} of ${frames.length} frames\n`);
    process.exit(kInterrupted);
  });
  const work = () =>
    new Promise((resolve, reject) => {
      const worker = new Worker(new URL("../lib/render_worker.mjs", import.meta.url), { workerData: data });
      const next = () => {
        const frame = waiting.shift();
        if (frame === undefined) return worker.terminate().then(resolve);
        running.set(worker, fileOf(frame));
        worker.postMessage({ frame, file: fileOf(frame) });
      };
      worker.on("error", reject);
      worker.on("message", ({ ready, error }) => {
        if (error) return reject(new Error(error));
        if (!ready) progress(++done);
        next();
      });
    });
  await Promise.all(Array.from({ length: jobs }, work));
}

// Pictures without a part of the scene are no rendering of it.
async function wholly(scene) {
  const facts = (await open()).load(scene.text, scene.files, scene.name);
  if (facts.parts.length > 0) throw new OrvandelError(facts.parts.map(({ pointer, message }) => `${scene.name}: ${pointer}${pointer && ": "}${message}`).join("\n"));
  return facts;
}

async function render([file], values) {
  const scene = sceneAt(file);
  const facts = await wholly(scene);
  const job = plan(scene, facts, values);
  const say = values.quiet ? () => {} : (text) => process.stderr.write(text);
  for (const note of facts.notes) say(`note: ${note}\n`);
  if (job.frames.length > 0) mkdirSync(dirname(job.fileOf(job.frames[0])), { recursive: true });
  const begun = performance.now();
  const live = process.stderr.isTTY;
  await renderAll(job, (done) => live && say(`\r${done} of ${job.frames.length} frames`));
  const seconds = ((performance.now() - begun) / 1000).toFixed(1);
  const kept = job.kept > 0 ? `, ${job.kept} kept` : "";
  say(`${live ? "\r" : ""}${job.frames.length} frames in ${seconds} s${kept}: ${values.output}\n`);
}

const commands = { render, check, new: start, schema: async () => console.log(JSON.stringify((await open()).schema(), null, 2)) };

async function main(words) {
  const { values, positionals } = parse(words);
  const [name, ...rest] = positionals;
  if (values.version) return console.log(JSON.parse(readFileSync(new URL("../package.json", import.meta.url))).version);
  if (values.help || name === undefined) return console.log(help);
  const command = Object.hasOwn(commands, name) ? commands[name] : undefined;
  if (!command) throw new Usage(`'${name}' is none of ${Object.keys(commands).join(", ")}`);
  if (rest.length > 1) throw new Usage(`'${rest[1]}' is one name too many`);
  return command(rest, values);
}

function parse(args) {
  const text = (short) => ({ type: "string", ...(short && { short }) });
  const flag = (short) => ({ type: "boolean", ...(short && { short }) });
  const options = {
    output: text("o"), frames: text("F"), downsample: { ...text(), default: "1" }, quality: { ...text(), default: "full" },
    jobs: text("j"), overwrite: flag(), resume: flag(), quiet: flag("q"), from: text(), help: flag("h"), version: flag(),
  };
  return usage(() => parseArgs({ args, options, allowPositionals: true }));
}

main(process.argv.slice(2)).catch((error) => {
  const refused = error instanceof Usage || error instanceof OrvandelError;
  process.stderr.write(`${error instanceof Usage ? "orvandel: " : ""}${error.message}\n`);
  process.exit(refused ? kBadInput : kFailed);
});
