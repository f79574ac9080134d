// Small pictures of media and masks.
import { computed } from "@preact/signals";

import { current } from "../document/open";
import { isObject, type Json, type JsonObject } from "../document/json";

const addresses = new WeakMap<Uint8Array, string>();

export function typeOf(name: string): string {
  const ending = name.split(".").pop()!.toLowerCase();
  return (
    {
      svg: "image/svg+xml",
      png: "image/png",
      jpg: "image/jpeg",
      jpeg: "image/jpeg",
      webp: "image/webp",
      gif: "image/gif",
      avif: "image/avif",
    }[ending] ?? ""
  );
}

export function addressOf(name: string, bytes: Uint8Array): string {
  const known = addresses.get(bytes);
  if (known) return known;
  const made = URL.createObjectURL(new Blob([bytes.slice()], { type: typeOf(name) }));
  addresses.set(bytes, made);
  return made;
}

export function fileOf(entry: Json | undefined): string | undefined {
  if (typeof entry === "string") return entry;
  return isObject(entry) && typeof entry.file === "string" ? entry.file : undefined;
}

const size = computed(() => [
  Number(current.value.scene.value.width ?? 1),
  Number(current.value.scene.value.height ?? 1),
]);

export function Thumbnail({ kind, name }: { kind: "layers" | "masks"; name: string }) {
  const entry = (current.value.scene.value[kind] as JsonObject | undefined)?.[name];
  const file = fileOf(entry);
  const bytes = file === undefined ? undefined : current.value.files.value[file];
  if (file && bytes instanceof Uint8Array && typeOf(file)) return <img class="thumbnail" src={addressOf(file, bytes)} alt="" />;
  if (isObject(entry)) {
    const key = Array.isArray(entry.keyframes) ? (entry.keyframes[0] as JsonObject) : entry;
    if (typeof key.d === "string") {
      return (
        <svg class="thumbnail" viewBox={`0 0 ${size.value.join(" ")}`} aria-hidden="true">
          <path d={key.d} />
        </svg>
      );
    }
  }
  return <span class="thumbnail" aria-hidden="true" />;
}
