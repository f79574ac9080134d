// Orvandel in a script: a scene file's text in, pictures out. The same file serves a page, a worker and node.
//
//   const orvandel = await Orvandel.open(await (await fetch("orvandel.wasm")).arrayBuffer());
//   orvandel.load(sceneText, { "logo.svg": bytes });
//   const { width, height, data } = orvandel.frame(0);
//
// One instance renders one scene at a time on the thread that calls it; for several threads, an instance each.

/** What was asked cannot be done: `complaints` says what is wrong with a scene, and where. */
export class OrvandelError extends Error {
  /**
   * @param {string} message
   * @param {{message: string, pointer: string, allowed: string, nearest: string}[]} complaints of a scene, else empty
   */
  constructor(message, complaints = []) {
    super(message);
    this.name = "OrvandelError";
    this.complaints = complaints;
  }
}

/**
 * Pictures of films are needed first: `putPicture` takes them, and with them it can be asked again. A few rounds may be
 * needed, since waves that are traced from one picture decide which others are.
 */
export class PicturesWanted extends OrvandelError {
  /** @param {{file: string, picture: number}[]} pictures */
  constructor(pictures) {
    super(`pictures of films are wanted: ${pictures.map(({ file, picture }) => `${file} ${picture}`).join(", ")}`);
    this.name = "PicturesWanted";
    this.pictures = pictures;
  }
}

const kRefused = 1;
const kWanting = 3;
const kNoFiles = -1; // any answer but 0: there is no such descriptor

// All that the module asks of its surroundings: an end, and a clock. It reads no files, so the others are never meant.
function surroundings(memory) {
  const noFiles = () => kNoFiles;
  const named = {
    emscripten_notify_memory_growth() {},
    proc_exit(code) {
      throw new Error(`the module ended with ${code}`);
    },
    clock_time_get(_clock, _precision, at) {
      new DataView(memory().buffer).setBigUint64(at, BigInt(Math.round(performance.now() * 1e6)), true);
      return 0;
    },
  };
  const module = () => new Proxy(named, { get: (known, name) => known[name] ?? noFiles, has: () => true });
  return { env: module(), wasi_snapshot_preview1: module() };
}

export class Orvandel {
  #exports;
  /** What the module was given last, by name. */
  #files = new Map();

  /** @param {BufferSource | WebAssembly.Module} wasm orvandel.wasm, as bytes or compiled */
  static async open(wasm) {
    const compiled = wasm instanceof WebAssembly.Module ? wasm : await WebAssembly.compile(wasm);
    const instance = await WebAssembly.instantiate(
      compiled,
      surroundings(() => instance.exports.memory),
    );
    return new Orvandel(instance);
  }

  /** @param {WebAssembly.Instance} instance */
  constructor(instance) {
    this.#exports = instance.exports;
    this.#exports._initialize?.();
  }

  /**
   * @param {string} sceneText a scene file's content
   * @param {Record<string, Uint8Array | {times: ArrayLike<number>, unitsPerSecond: number}>} files what it names, by the
   *   names that it uses; of a film, when its pictures stand: whole numbers that rise, of its container's clock. The
   *   same objects under the same names as at the last call are taken to hold the same.
   * @param {string} name of the scene file, for messages
   * @returns {{width: number, height: number, frames: number, frameRate: string, seconds: number, effects: number,
   *   notes: string[], parts: {pointer: string, file: string, message: string}[]}} `parts` cannot be shown here
   */
  load(sceneText, files = {}, name = "scene.json") {
    this.#putFiles(Object.entries(files));
    return JSON.parse(
      this.#ask(this.#lent([encoded(sceneText), encoded(name)], (...both) => this.#exports.orvandelLoad(...both))),
    );
  }

  /**
   * One of the pictures that PicturesWanted names.
   * @param {{width: number, height: number, data: Uint8Array, planes?: object}} pixels red, green, blue, alpha, not
   *   multiplied by alpha; or, with `planes`, as WebCodecs copies it: {format, layout, colorSpace} (isKnownForm)
   */
  putPicture({ file, picture }, { width, height, data, planes }) {
    this.#ask(
      planes
        ? this.#lent([encoded(file), data, numbersOf(planes)], (name, nameSize, bytes, size, form) =>
            this.#exports.orvandelPutPlanes(name, nameSize, picture, width, height, bytes, size, form),
          )
        : this.#lent([encoded(file), data], (name, nameSize, bytes) =>
            this.#exports.orvandelPutPicture(name, nameSize, picture, width, height, bytes),
          ),
    );
  }

  /**
   * A frame as it goes to a file, or that of one effect alone.
   * @param {number} number from 0
   * @param {{quality?: "full" | "draft", downsample?: number, effect?: number, into?: ArrayBuffer}} options `into`:
   *   memory for the picture, so that none has to be found for every frame; another is made when it is too small
   * @returns {{width: number, height: number, data: Uint8ClampedArray}} rows from the top; red, green, blue, alpha,
   *   colour not multiplied by alpha. A copy: it is the caller's.
   */
  frame(number, { quality = "full", downsample = 1, effect, into } = {}) {
    const draft = quality === "draft" ? 1 : 0;
    this.#ask(
      effect === undefined
        ? this.#exports.orvandelFrame(number, downsample, draft)
        : this.#exports.orvandelEffectFrame(effect, number, downsample, draft),
    );
    const width = this.#exports.orvandelWidth();
    const height = this.#exports.orvandelHeight();
    const start = this.#exports.orvandelPixels() >>> 0;
    const pixels = new Uint8ClampedArray(this.#exports.memory.buffer, start, width * height * 4);
    if (into === undefined || into.byteLength < pixels.length) return { width, height, data: pixels.slice() };
    const data = new Uint8ClampedArray(into, 0, pixels.length);
    data.set(pixels);
    return { width, height, data };
  }

  /** The last frame as a PNG file with exactly its bytes. @returns {Uint8Array} */
  png() {
    this.#ask(this.#exports.orvandelPng(), () => null);
    return this.#said();
  }

  /** The scene file's JSON Schema: every parameter's name, range, default and choices, and what it means. */
  schema() {
    return JSON.parse(this.#ask(this.#exports.orvandelSchema()));
  }

  /** The effect's parameters in its order; no scene is needed. @returns {Parameter[]} see index.d.ts */
  catalog() {
    return this.#json(this.#exports.orvandelCatalog());
  }

  /**
   * How the effect shows its parameters at a frame: which are inactive, and which groups it has open.
   * @returns {{inactive: string[], open: string[], inactiveGroups: string[]}}
   */
  shown(effect, frame) {
    return this.#json(this.#exports.orvandelShown(effect, frame));
  }

  /** The waves of a frame, the oldest first, as the effect reports them; places in full-size pixels. @returns {Wave[]} */
  waves(effect, frame) {
    return this.#json(this.#exports.orvandelWaves(effect, frame));
  }

  /**
   * What a parameter is at frames, whether it comes from keys, a formula, a sound or random draws: a number, [x, y],
   * "#rrggbb", true or false, a popup's number from 1, a layer's or mask's name, or null.
   */
  values(effect, parameter, first, count = 1, step = 1) {
    return this.#json(
      this.#lent([encoded(parameter)], (name, size) =>
        this.#exports.orvandelValues(effect, name, size, first, count, step),
      ),
    );
  }

  /**
   * The masks' paths at a frame as they lie in the picture; a segment is a cubic's four points.
   * @returns {{name: string, closed: boolean, segments: number[][]}[]}
   */
  masks(frame) {
    return this.#json(this.#exports.orvandelMasks(frame));
  }

  /** What is costly or not as one would expect, and the numbers behind it. @returns {{warnings: string[], notes: string[]}} */
  remarks() {
    return this.#json(this.#exports.orvandelRemarks());
  }

  // A scene that is being worked on is loaded with every change, and its files, films' pictures too, are there already.
  #putFiles(files) {
    const known = this.#files;
    if (known.size === files.length && files.every(([name, file]) => known.get(name) === file)) return;
    this.#files = new Map();
    this.#exports.orvandelForgetFiles();
    for (const [name, file] of files) {
      if (file instanceof Uint8Array)
        this.#ask(this.#lent([encoded(name), file], (...both) => this.#exports.orvandelPutFile(...both)));
      else this.#putFilm(name, file);
    }
    this.#files = new Map(files);
  }

  #putFilm(film, { times, unitsPerSecond }) {
    const bytes = new Uint8Array(Float64Array.from(times).buffer);
    this.#ask(
      this.#lent([encoded(film), bytes], (name, nameSize, list) =>
        this.#exports.orvandelPutFilm(name, nameSize, list, times.length, unitsPerSecond),
      ),
    );
  }

  #json(outcome) {
    return JSON.parse(this.#ask(outcome));
  }

  // Calls with the bytes in the module's memory: an address and a size for each.
  #lent(parts, call) {
    const places = [];
    try {
      for (const bytes of parts) {
        const place = this.#exports.orvandelAllocate(Math.max(bytes.length, 1)) >>> 0;
        if (place === 0) throw new OrvandelError("there is not enough memory");
        places.push(place);
        new Uint8Array(this.#exports.memory.buffer, place, bytes.length).set(bytes);
      }
      return call(...parts.flatMap((bytes, i) => [places[i], bytes.length]));
    } finally {
      for (const place of places) this.#exports.orvandelFree(place);
    }
  }

  #said() {
    const start = this.#exports.orvandelText() >>> 0;
    return new Uint8Array(this.#exports.memory.buffer, start, this.#exports.orvandelTextSize()).slice();
  }

  // What the module says when the call went well; throws what it says when not.
  #ask(outcome, read = (bytes) => new TextDecoder().decode(bytes)) {
    if (outcome === 0) return read(this.#said());
    const text = new TextDecoder().decode(this.#said());
    if (outcome === kWanting) throw new PicturesWanted(JSON.parse(text));
    if (outcome === kRefused && text.startsWith("[{")) {
      const complaints = JSON.parse(text);
      throw new OrvandelError(complaints.map(({ message }) => message).join("\n"), complaints);
    }
    throw new OrvandelError(text);
  }
}

const kForm = /^(?:I4(20|22|44)(A?)(?:P(10|12))?|NV12)$/;
const kMatrices = ["smpte170m", "bt709", "bt2020-ncl"];

/** Whether `putPicture` takes planes of this format and these colours. */
export function isKnownForm(format, { matrix }) {
  return kForm.test(format) && kMatrices.includes(matrix);
}

// The numbers of planes.h.
function numbersOf({ format, layout, colorSpace: { matrix, fullRange } }) {
  const [, size = "20", alpha, bits = 8] = kForm.exec(format);
  const [light, blue, red = { ...blue, offset: blue.offset + 1 }, clear] = layout;
  const steps = format === "NV12" ? [1, 2, 2, 1] : [1, 1, 1, 1].map((bytes) => (bits > 8 ? 2 * bytes : bytes));
  const places = [light, blue, red, clear ?? { offset: 0, stride: 0 }];
  return new Uint8Array(
    Int32Array.of(
      ...[size !== "44", size === "20", bits, kMatrices.indexOf(matrix), fullRange, alpha === "A"].map(Number),
      ...places.flatMap(({ offset, stride }, i) => [offset, stride, steps[i]]),
    ).buffer,
  );
}

function encoded(text) {
  return new TextEncoder().encode(text);
}
