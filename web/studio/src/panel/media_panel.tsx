// Pictures, outlines and sounds that the scene names.
import { bytesOf, pick, take } from "../session/files";
import { kFilmNotice, missingFiles } from "../session/media_files";
import { current } from "../document/open";
import { renamed, without, withValue } from "../document/edits";
import { isObject, type Json, type JsonObject } from "../document/json";
import { maskKeyAt, maskKeys, pathAt, withKeyTurned } from "../document/mask_keys";
import { freeName } from "../document/media";
import { perSecond } from "../document/time";
import { masksNow } from "../engine/analysis";
import { rate } from "../engine/engine";
import { frame } from "../engine/frames";
import { endsOf } from "../picture/mask_handles";
import { currentTime, say } from "../session/state";
import { Choice } from "./controls";
import { Icon } from "./icons";
import { NumberField } from "./number_field";
import { fileOf, Thumbnail } from "./thumbnail";

type Kind = "layers" | "masks";

function change(label: string, edit: (text: string) => string, gesture?: string): void {
  const document = current.peek();
  document.change(label, edit(document.text.value), gesture);
}

// References by name follow the name.
function rename(kind: Kind, from: string, to: string): void {
  if (to === "" || to === from) return;
  const parameter = kind === "layers" ? "Source Layer" : "Mask";
  const scene = current.peek().scene.value;
  const entries = Object.keys((scene[kind] as JsonObject | undefined) ?? {});
  const free = freeName(
    to,
    entries.filter((each) => each !== from),
  );
  change(`rename ${from}`, (text) => {
    let next = renamed(text, [kind, from], free);
    const lists = Array.isArray(scene.effects)
      ? scene.effects.map((each, i) => [["effects", i, "parameters"], (each as JsonObject).parameters] as const)
      : [[["parameters"], scene.parameters] as const];
    for (const [path, settings] of lists) {
      if (isObject(settings) && settings[parameter] === from) next = withValue(next, [...path, parameter], free);
    }
    return next;
  });
}

async function turnKey(name: string, mask: JsonObject): Promise<void> {
  const time = currentTime.peek();
  const outline = (await masksNow()).find((each) => each.name === name);
  const d = outline && pathAt(mask, time, endsOf(outline));
  if (d === undefined) return say("The path between these keys cannot be told: it has arcs.", "bad");
  change(`key ${name}`, (text) => withKeyTurned(text, name, mask, time, d));
}

function MaskKeys({ name, mask }: { name: string; mask: JsonObject }) {
  const here = maskKeyAt(mask, currentTime.value);
  return (
    <div class="chips" role="group" aria-label={`Keys of ${name}`}>
      {maskKeys(mask)?.map(({ time }, i) => (
        <button
          key={time}
          class="chip"
          aria-pressed={i === here}
          title="Go to this key; its points are on the picture"
          onClick={() => (frame.value = Math.max(0, Math.round(time * perSecond(rate.peek()))))}
        >
          {Number(time.toFixed(3))} s
        </button>
      ))}
      <button class="chip" onClick={() => void turnKey(name, mask)}>
        {here >= 0 ? "Remove this key" : maskKeys(mask) ? "Key here" : "Let it move"}
      </button>
    </div>
  );
}

function MaskFields({ name, mask }: { name: string; mask: JsonObject }) {
  const set = (key: string, value: Json | undefined, gesture?: string) =>
    change(
      `change ${key} of ${name}`,
      (text) =>
        value === undefined ? without(text, ["masks", name, key]) : withValue(text, ["masks", name, key], value),
      gesture,
    );
  const plain = (key: string, fallback: string) =>
    typeof mask[key] === "string" ? String(mask[key]) : mask[key] === undefined ? fallback : "custom";
  const fits = ["none", "contain", "cover", ...(isObject(mask.fit) ? ["custom"] : [])];
  return (
    <div class="motion">
      {typeof mask.d === "string" && (
        <textarea
          aria-label={`Path of ${name}`}
          class="formula"
          rows={2}
          spellcheck={false}
          value={mask.d}
          onChange={(event) => set("d", event.currentTarget.value)}
        />
      )}
      {(typeof mask.d === "string" || maskKeys(mask)) && <MaskKeys name={name} mask={mask} />}
      <label class="part">
        <span>fit</span>
        <Choice
          label={`Fit of ${name}`}
          value={plain("fit", "none")}
          choices={fits.map((each) => [each, each] as const)}
          onChange={(fit) => fit !== "custom" && set("fit", fit === "none" ? undefined : fit)}
        />
      </label>
      <label class="part">
        <span>anchor</span>
        <Choice
          label={`Anchor of ${name}`}
          value={plain("anchor", "layer")}
          choices={[
            ["layer", "layer"],
            ["outline", "outline"],
          ]}
          onChange={(anchor) => set("anchor", anchor)}
        />
      </label>
      <label class="part">
        <span>scale</span>
        <NumberField
          label={`Scale of ${name}`}
          value={Number(Array.isArray(mask.scale) ? mask.scale[0] : (mask.scale ?? 1))}
          min={-1000}
          max={1000}
          step={0.01}
          onChange={(scale, gesture) => set("scale", scale, gesture)}
        />
      </label>
      <label class="part">
        <span>rotate</span>
        <NumberField
          label={`Rotation of ${name}`}
          value={Number(mask.rotate ?? 0)}
          min={-32768}
          max={32768}
          unit="°"
          precision={1}
          onChange={(rotate, gesture) => set("rotate", rotate, gesture)}
        />
      </label>
      <label class="part">
        <input
          type="checkbox"
          checked={mask.close === true}
          onChange={(event) => set("close", event.currentTarget.checked || undefined)}
        />
        <span>close open paths</span>
      </label>
    </div>
  );
}

function Entries({ kind, title }: { kind: Kind; title: string }) {
  const entries = Object.entries((current.value.scene.value[kind] as JsonObject | undefined) ?? {});
  return (
    <section class="group" aria-label={title}>
      <h2>{title}</h2>
      {entries.map(([name, entry]) => (
        <div class="medium" key={name}>
          <Thumbnail kind={kind} name={name} />
          <span class="names">
            <input
              type="text"
              aria-label={`Name of ${name}`}
              value={name}
              onChange={(event) => rename(kind, name, event.currentTarget.value.trim())}
            />
            <small>{fileOf(entry) ?? (isObject(entry) && entry.keyframes ? "moving path" : "path")}</small>
          </span>
          <button
            class="small"
            aria-label={`Remove ${name}`}
            onClick={() => change(`remove ${name}`, (text) => without(text, [kind, name]))}
          >
            <Icon name="remove" />
          </button>
          {kind === "masks" && isObject(entry) && <MaskFields name={name} mask={entry} />}
        </div>
      ))}
      {entries.length === 0 && <p class="hint">None yet.</p>}
    </section>
  );
}

function addPath(): void {
  const scene = current.peek().scene.value;
  const [w, h] = [Number(scene.width), Number(scene.height)];
  const name = freeName("mask", Object.keys((scene.masks as JsonObject | undefined) ?? {}));
  const [left, right, top, bottom] = [0.35 * w, 0.65 * w, 0.3 * h, 0.7 * h].map(Math.round);
  const d = `M ${left} ${top} L ${right} ${top} L ${right} ${bottom} L ${left} ${bottom} Z`;
  change(`add ${name}`, (text) => withValue(text, ["masks", name], { d }));
}

export function MediaPanel() {
  const missing = missingFiles(current.value);
  const dropped = async (event: DragEvent) => {
    event.preventDefault();
    event.stopPropagation();
    await take(await bytesOf(event.dataTransfer?.files ?? []));
  };
  return (
    <div onDragOver={(event) => event.preventDefault()} onDrop={dropped}>
      {missing.map((name) => (
        <p class="complaint" role="alert" key={name}>
          {name} is not here.{" "}
          <button
            class="chip"
            onClick={async () => {
              const [bytes] = Object.values(await pick());
              if (bytes) await take({ [name.replace(/^.*\//, "")]: bytes });
            }}
          >
            Choose the file…
          </button>
        </p>
      ))}
      <Entries kind="layers" title="Pictures" />
      <Entries kind="masks" title="Masks" />
      <div class="chips pad">
        <button class="chip" onClick={async () => take(await pick("image/*,.svg,audio/*,video/*"))}>
          Add a file…
        </button>
        <button class="chip" onClick={addPath}>
          Add a path
        </button>
      </div>
      {Object.entries(current.value.readable.value).map(
        ([name, file]) =>
          "film" in file && (
            <p class="hint" key={name}>
              {name}: {file.times.length} pictures. {kFilmNotice}
            </p>
          ),
      )}
      <p class="hint">Pictures, films, SVG files, sounds and scenes can also be dropped anywhere onto the page.</p>
    </div>
  );
}
