// The program that serves the page on this machine, when one does: the scene's file on disk and what lies beside it.
import { signal } from "@preact/signals";

import { SceneDocument } from "../document/document";
import { fetchFiles, fetchMissing } from "./media_files";
import { dialog, open, say } from "./state";

const kFiles = "files/";

interface DiskScene {
  text: string;
  tag: string;
}

/** The file on disk has changed in the meantime. */
export const conflict = signal<DiskScene | undefined>(undefined);

class Server {
  #document: SceneDocument | undefined;
  // News of a change on disk may overtake the answer to the save that made it.
  #saving: Promise<void> = Promise.resolve();

  constructor(
    readonly base: string,
    readonly sceneName: string | undefined,
  ) {}

  async open(): Promise<void> {
    if (this.sceneName === undefined) return;
    const { text, tag } = await this.#fetchScene();
    const document = new SceneDocument(text, this.sceneName);
    document.tag = tag;
    this.#document = document;
    open(document);
    await fetchMissing(document, this.base + kFiles);
    this.#listen();
  }

  save(document: SceneDocument, over = document.tag!): Promise<void> {
    return (this.#saving = this.#saving.then(() => this.#put(document, over)));
  }

  async #put(document: SceneDocument, over: string): Promise<void> {
    const text = document.text.peek();
    const answer = await fetch(`${this.base}scene`, {
      method: "PUT",
      headers: { "If-Match": over, "Content-Type": "application/json" },
      body: text,
    }).catch(() => undefined);
    if (!answer)
      return say("The program does not answer: is it still running? Export the scene file to keep it.", "bad");
    const tag = answer.headers.get("ETag") ?? "";
    if (answer.status === 412) {
      conflict.value = { text: await answer.text(), tag };
      dialog.value = "conflict";
    } else if (answer.ok) {
      document.tag = tag;
      document.saved.value = text;
      say(`Saved to ${this.sceneName}.`);
    } else {
      say(await reason(answer), "bad");
    }
  }

  /** The name under which it was kept. */
  async putFile(name: string, bytes: Uint8Array | Blob): Promise<string> {
    for (let i = 1; ; ++i) {
      const tried = i === 1 ? name : name.replace(/(\.[^.]*)?$/, `-${i}$1`);
      const answer = await fetch(this.base + kFiles + tried.split("/").map(encodeURIComponent).join("/"), {
        method: "PUT",
        body: bytes instanceof Blob ? bytes : bytes.slice(),
      });
      if (answer.ok) return tried;
      if (answer.status !== 412) throw new Error(await reason(answer));
    }
  }

  /** What is on disk stands in the place of what is here; undo brings that back. */
  take({ text, tag }: DiskScene): void {
    const document = this.#document!;
    document.change("take the file on disk", text);
    document.saved.value = text;
    document.tag = tag;
    conflict.value = undefined;
    void fetchMissing(document, this.base + kFiles);
  }

  async keepMine(): Promise<void> {
    const there = conflict.peek();
    conflict.value = undefined;
    if (there && this.#document) await this.save(this.#document, there.tag);
  }

  async #fetchScene(): Promise<DiskScene> {
    const answer = await fetch(`${this.base}scene`);
    if (!answer.ok) throw new Error(await reason(answer));
    return { text: await answer.text(), tag: answer.headers.get("ETag") ?? "" };
  }

  #listen(): void {
    const events = new EventSource(`${this.base}events`);
    events.addEventListener("scene", async (event) => {
      const document = this.#document!;
      await this.#saving;
      const known = () => [document.tag, conflict.peek()?.tag];
      if (known().includes(JSON.parse(event.data).etag)) return;
      const there = await this.#fetchScene();
      if (known().includes(there.tag)) return;
      if (!document.changed.peek()) return this.take(there);
      conflict.value = there;
      dialog.value = "conflict";
    });
    events.addEventListener("files", async (event) => {
      const document = this.#document!;
      const names = JSON.parse(event.data).names as string[];
      const known = document.readable.peek();
      await fetchFiles(
        document,
        this.base + kFiles,
        names.filter((name) => name in known),
      );
      await fetchMissing(document, this.base + kFiles);
    });
  }
}

async function reason(answer: Response): Promise<string> {
  try {
    return (await answer.json()).error;
  } catch {
    return `The program answered ${answer.status}.`;
  }
}

const element = document.querySelector<HTMLMetaElement>('meta[name="orvandel-server"]');
export const served = element ? new Server(element.content, element.dataset.scene) : undefined;
