// The first worker and the first picture. Nothing here waits for the page: it is read and built meanwhile.
import { Orvandel } from "../../../core/orvandel.mjs";
import { kNewName, kNewScene } from "../document/new_scene";
import type { Parameter } from "../../../npm/index";
import type { Answer, FrameOptions, Picture, SceneMessage } from "./core";

/** Whether scenes of a visit before are kept in the browser: they come in the place of a new one. */
export const kKeptFlag = "kept";

export const core = WebAssembly.compileStreaming(fetch("./orvandel.wasm"));

/** Starts while the core is still being compiled. */
export function hiredWorker(): Worker {
  const worker = new Worker(new URL("./worker.ts", import.meta.url), { type: "module" });
  void core.then((module) => worker.postMessage(module)).catch(() => undefined);
  return worker;
}

export interface FirstWorker {
  worker: Worker;
  /** What it was given, if anything. */
  scene?: SceneMessage;
  /** A small one, and a whole one from the worker: resolved with nothing when there will be none. */
  small: Promise<Picture | undefined>;
  whole: Promise<Picture | undefined>;
  /** The effect's parameters, where this thread has asked for them. */
  catalog: Promise<Parameter[] | undefined>;
}

export const kFirstOptions: FrameOptions = { downsample: 3, quality: "draft" };

export function freshWorker(): FirstWorker {
  const none = Promise.resolve(undefined);
  return { worker: hiredWorker(), small: none, whole: none, catalog: none };
}

function opensNew(): boolean {
  return (
    location.hash === "" &&
    !document.querySelector("meta[name=orvandel-server][data-scene]") &&
    localStorage.getItem(kKeptFlag) === null
  );
}

// The canvas stands in the page's own text, so that no other script is needed to see it.
function painted(picture: Picture): Picture {
  const canvas = document.querySelector<HTMLCanvasElement>(".first canvas");
  if (canvas) {
    Object.assign(canvas, { width: picture.width, height: picture.height });
    canvas.getContext("2d")!.putImageData(new ImageData(picture.data, picture.width, picture.height), 0, 0);
  }
  return picture;
}

// A worker takes longer to start than this takes, and this thread would only wait for it.
async function begunHere(): Promise<[Picture, Parameter[]]> {
  const instance = await Orvandel.open(await core);
  instance.load(kNewScene, {}, kNewName);
  return [painted(instance.frame(0, kFirstOptions) as Picture), instance.catalog() as Parameter[]];
}

function begun(): FirstWorker {
  if (!opensNew()) return freshWorker();
  const worker = hiredWorker();
  const scene: SceneMessage = { scene: 0, text: kNewScene, name: kNewName, files: {} };
  worker.postMessage(scene);
  worker.postMessage({ id: 0, method: "frame", args: [0, {}], scene: 0 });
  const whole = new Promise<Picture | undefined>((answered) => {
    worker.onmessage = ({ data }: MessageEvent<Answer>) => answered(data.value as Picture | undefined);
    worker.onerror = () => answered(undefined);
    core.catch(() => answered(undefined));
  });
  const here = begunHere().catch(() => []);
  return { worker, scene, small: here.then(([small]) => small), whole, catalog: here.then(([, catalog]) => catalog) };
}

export const first = begun();
