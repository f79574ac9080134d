// One thread that renders frames: it is told the scene once, then a frame at a time, and writes each to its file.
import { renameSync, rmSync, writeFileSync } from "node:fs";
import { parentPort, workerData } from "node:worker_threads";

import { Orvandel } from "./orvandel.mjs";

const { module, sceneText, files, name, options } = workerData;
const orvandel = await Orvandel.open(module);
orvandel.load(sceneText, files, name);
parentPort.on("message", ({ frame, file }) => {
  // The file has its name only when it is whole.
  const partial = `${file}.${process.pid}.part`;
  try {
    orvandel.frame(frame, options);
    writeFileSync(partial, orvandel.png());
    renameSync(partial, file);
    parentPort.postMessage({ frame });
  } catch (error) {
    rmSync(partial, { force: true });
    parentPort.postMessage({ frame, error: `frame ${frame}: ${error.message}` });
  }
});
parentPort.postMessage({ ready: true });
