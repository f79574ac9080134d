// Workers, each with an instance of the core, and the queue of what they are asked.
import { type Answers, type Answer, CoreError, type Method, type SceneFacts, type SceneMessage } from "./core";
import type { Readable } from "../document/document";
import { portToFilms } from "./films";
import { freshWorker, type FirstWorker, hiredWorker } from "./first";

/** Lower goes first. */
export enum Urgency {
  Now,
  Soon,
  Ahead,
  Background,
}

interface Job {
  id: number;
  method: Method;
  args: unknown[];
  urgency: Urgency;
  scene: SceneMessage;
  resolve(value: unknown, ms: number): void;
  reject(reason: unknown): void;
}

interface Hand {
  worker: Worker;
  /** What it was given last. */
  scene?: SceneMessage;
  /** Whether it can ask for films' pictures. */
  films?: boolean;
  job?: Job;
  begun: number;
}

export class Dropped extends Error {}

export interface Timed<T> {
  value: T;
  ms: number;
}

// A frame of a scene that is gone may take seconds: then a new worker is quicker than to wait for it.
const kPatience = 1500;

function isSame(a: SceneMessage | undefined, b: SceneMessage): boolean {
  if (!a || a.text !== b.text || a.name !== b.name) return false;
  return a.files === b.files || Object.keys({ ...a.files, ...b.files }).length === 0;
}

export class Pool {
  /** Called when a worker has read the scene as it is now. */
  onFacts: ((facts: SceneFacts) => void) | undefined;
  #hands: Hand[] = [];
  #queue: Job[] = [];
  #scene: SceneMessage = { scene: 0, text: "", name: "", files: {} };
  #asked = 0;

  constructor(
    readonly size: number,
    /** One that works already. */
    first: FirstWorker = freshWorker(),
  ) {
    // The others would only take its time from the first picture.
    void first.small.then(() => {
      while (this.#hands.length < size - 1) this.#hands.push(this.#hired());
      this.#handOut();
    });
    void first.whole.then(() => {
      this.#hands.push(this.#led({ worker: first.worker, scene: first.scene, begun: 0 }));
      this.#handOut();
    });
  }

  get scene(): number {
    return this.#scene.scene;
  }

  isSame(scene: SceneMessage | undefined): boolean {
    return isSame(scene, this.#scene);
  }

  /** What was asked about the scene before and is not begun is dropped, but for what runs in the background. */
  setScene(text: string, name: string, files: Readable): void {
    this.#scene = { scene: this.#scene.scene + 1, text, name, files };
    this.drop((job) => job.urgency !== Urgency.Background);
    for (const hand of this.#hands) {
      if (hand.job && performance.now() - hand.begun > kPatience && hand.job.urgency !== Urgency.Background)
        this.#replace(hand);
    }
  }

  drop(which: (job: { urgency: Urgency }) => boolean): void {
    const dropped = this.#queue.filter(which);
    this.#queue = this.#queue.filter((job) => !which(job));
    for (const job of dropped) job.reject(new Dropped());
  }

  timed<M extends Method>(
    urgency: Urgency,
    method: M,
    ...args: Parameters<Answers[M]>
  ): Promise<Timed<ReturnType<Answers[M]>>> {
    return new Promise((done, failed) => {
      const resolve = (value: unknown, ms: number) => done({ value: value as ReturnType<Answers[M]>, ms });
      const job: Job = { id: ++this.#asked, method, args, urgency, scene: this.#scene, resolve, reject: failed };
      const behind = this.#queue.findIndex((other) => other.urgency > urgency);
      this.#queue.splice(behind < 0 ? this.#queue.length : behind, 0, job);
      this.#handOut();
    });
  }

  async ask<M extends Method>(
    urgency: Urgency,
    method: M,
    ...args: Parameters<Answers[M]>
  ): Promise<ReturnType<Answers[M]>> {
    return (await this.timed(urgency, method, ...args)).value;
  }

  close(): void {
    for (const hand of this.#hands) {
      hand.worker.terminate();
      hand.job?.reject(new Dropped());
    }
    this.#hands = [];
    this.drop(() => true);
  }

  #hired(): Hand {
    return this.#led({ worker: hiredWorker(), begun: 0 });
  }

  #led(hand: Hand): Hand {
    hand.worker.onmessage = ({ data }: MessageEvent<Answer>) => this.#finished(hand, data);
    hand.worker.onerror = (event) => {
      event.preventDefault();
      hand.job?.reject(new Error(event.message || "a worker of the page ended"));
      hand.job = undefined;
      this.#replace(hand);
    };
    return hand;
  }

  #replace(hand: Hand): void {
    hand.worker.terminate();
    hand.job?.reject(new Dropped());
    this.#hands[this.#hands.indexOf(hand)] = this.#hired();
    this.#handOut();
  }

  #finished(hand: Hand, answer: Answer): void {
    const job = hand.job;
    hand.job = undefined;
    if (answer.facts && job?.scene.scene === this.scene) this.onFacts?.(answer.facts);
    if (job && answer.error) job.reject(new CoreError(answer.error.message, answer.error.complaints));
    else job?.resolve(answer.value, answer.ms);
    this.#handOut();
  }

  // A worker that knows the scene already is the better one.
  #handOut(): void {
    while (this.#queue.length > 0) {
      const job = this.#queue[0]!;
      const idle = this.#hands.filter((hand) => !hand.job);
      if (idle.length === 0) return;
      this.#queue.shift();
      this.#give(idle.find((hand) => isSame(hand.scene, job.scene)) ?? idle[0]!, job);
    }
  }

  #give(hand: Hand, job: Job): void {
    if (!hand.films && Object.values(job.scene.files ?? {}).some((file) => "film" in file)) {
      const port = portToFilms();
      hand.worker.postMessage(port, [port]);
      hand.films = true;
    }
    if (!isSame(hand.scene, job.scene)) {
      const { files, ...rest } = job.scene;
      hand.worker.postMessage(hand.scene?.files === files ? rest : job.scene);
    }
    hand.scene = job.scene;
    hand.job = job;
    hand.begun = performance.now();
    hand.worker.postMessage({ id: job.id, method: job.method, args: job.args, scene: job.scene.scene });
  }
}
