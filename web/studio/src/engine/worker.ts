// One instance of the core in a thread of its own. It loads a scene when it is first asked about it.
import { Orvandel } from "../../../core/orvandel.mjs";
import type { Orvandel as Core } from "../../../npm/index";
import type { Answer, Ask, FrameOptions, SceneFacts, SceneMessage } from "./core";

let open: (core: Core | PromiseLike<Core>) => void;
const core = new Promise<Core>((resolve) => (open = resolve));
let waiting: SceneMessage | undefined;
let files: Record<string, Uint8Array> = {};
let facts: SceneFacts | undefined;
let refusal: unknown;

function loadWaiting(instance: Core): void {
  if (!waiting) return;
  const { text, name } = waiting;
  waiting = undefined;
  facts = refusal = undefined;
  try {
    facts = instance.load(text, files, name) as SceneFacts;
  } catch (error) {
    refusal = error;
  }
}

function answered(instance: Core, { method, args }: Ask): unknown {
  if (method === "schema") return instance.schema();
  if (method === "catalog") return instance.catalog();
  loadWaiting(instance);
  if (refusal) throw refusal;
  if (method === "load") return facts;
  if (method === "framePng") {
    instance.frame(...(args as [number, FrameOptions]));
    return instance.png();
  }
  return (instance[method] as (...all: unknown[]) => unknown).apply(instance, args);
}

// Pixels and files go without a copy.
function handedOver(value: unknown): Transferable[] {
  const bytes = value instanceof Uint8Array ? value : (value as { data?: Uint8ClampedArray } | null)?.data;
  return bytes ? [bytes.buffer as ArrayBuffer] : [];
}

self.onmessage = async ({ data }: MessageEvent<WebAssembly.Module | SceneMessage | Ask>) => {
  if (data instanceof WebAssembly.Module) {
    open(Orvandel.open(data) as unknown as Promise<Core>);
  } else if ("text" in data) {
    if (data.files) files = data.files;
    waiting = data;
  } else {
    const begun = performance.now();
    const answer: Answer = { id: data.id, ms: 0 };
    try {
      const before = facts;
      answer.value = answered(await core, data);
      if (facts !== before) answer.facts = facts;
    } catch (error) {
      const { message, complaints } = error as { message: string; complaints?: [] };
      answer.error = { message, complaints: complaints ?? [] };
    }
    answer.ms = performance.now() - begun;
    self.postMessage(answer, { transfer: handedOver(answer.value) });
  }
};
