// Size, time, and what is done with the effects' picture: from the scene file's own schema.
import { current } from "../document/open";
import { without, withValue } from "../document/edits";
import { isObject, type Json, type Path, valueAt } from "../document/json";
import { isFilm, isPicture, isSound } from "../document/media";
import { complaints, schema } from "../engine/engine";
import { Choice, ColourField } from "./controls";
import { Icon } from "./icons";
import { NumberField } from "./number_field";

interface Entry {
  type?: string;
  description?: string;
  minimum?: number;
  maximum?: number;
  exclusiveMinimum?: number;
  enum?: string[];
  default?: Json;
  anyOf?: Entry[];
  properties?: Record<string, Entry>;
  required?: string[];
}

// What a field holds while the scene leaves it out, and where a new group begins.
const kLeftOut: Record<string, Json> = {
  pixelAspect: 1,
  preroll: 0,
  loop: false,
  samples: 8,
  shutter: 180,
  phase: 0,
  radius: 40,
  strength: 1,
  threshold: 0,
};
const kTitles: Record<string, string> = {
  frameRate: "Frame rate",
  pixelAspect: "Pixel aspect",
  motionBlur: "Motion blur",
  preroll: "Preroll",
  width: "Width",
  height: "Height",
};
const kUnits: Record<string, string> = {
  width: "px",
  height: "px",
  duration: "s",
  preroll: "s",
  shutter: "°",
  phase: "°",
  radius: "px",
  frameRate: "/s",
};

const titleOf = (key: string) => kTitles[key] ?? key[0]!.toUpperCase() + key.slice(1);

function change(label: string, path: Path, value: Json | undefined, gesture?: string): void {
  const document = current.peek();
  const text = document.text.value;
  document.change(label, value === undefined ? without(text, path) : withValue(text, path, value), gesture);
}

function Field({ path, entry }: { path: Path; entry: Entry }) {
  const key = String(path[path.length - 1]);
  const value = valueAt(current.value.scene.value, path);
  const label = path.length > 1 ? `${titleOf(String(path[0]))} ${key}` : titleOf(key);
  const set = (next: Json, gesture?: string) => change(`change ${label.toLowerCase()}`, path, next, gesture);
  const now = value ?? kLeftOut[key] ?? entry.default ?? 0;
  const number =
    entry.type === "number" || entry.type === "integer" || entry.anyOf?.some(({ type }) => type === "number");
  const said = complaints.value.filter(({ pointer }) => pointer === `/${path.join("/")}`);
  const whole = entry.type === "integer";
  const fraction = typeof now === "string" && now.includes("/");
  return (
    <div class="row" title={entry.description}>
      <span class="diamond" />
      <span class="name">{titleOf(key)}</span>
      <span class="control">
        {entry.enum ? (
          <Choice
            label={label}
            value={String(now)}
            choices={entry.enum.map((each) => [each, each] as const)}
            onChange={set}
          />
        ) : entry.type === "boolean" ? (
          <input
            type="checkbox"
            aria-label={label}
            checked={now === true}
            onChange={(event) => set(event.currentTarget.checked)}
          />
        ) : fraction ? (
          <input
            type="text"
            class="hex"
            aria-label={label}
            value={String(now)}
            onChange={(event) => set(Number(event.currentTarget.value) || event.currentTarget.value)}
          />
        ) : number ? (
          <NumberField
            label={label}
            value={Number(now)}
            min={entry.minimum ?? (whole ? 1 : entry.exclusiveMinimum !== undefined || entry.anyOf ? 0.001 : undefined)}
            max={entry.maximum}
            step={whole ? 1 : 0.1}
            precision={whole ? 0 : 2}
            unit={kUnits[key]}
            onChange={set}
          />
        ) : null}
      </span>
      <span />
      <button
        class="small"
        aria-label={`Reset ${label}`}
        disabled={value === undefined || ["width", "height", "duration", "frameRate"].includes(key)}
        onClick={() => change(`reset ${label.toLowerCase()}`, path, undefined)}
      >
        <Icon name="reset" />
      </button>
      {said.map(({ message }) => (
        <p class="complaint" role="alert">
          {message}
        </p>
      ))}
    </div>
  );
}

function Section({ name, entry }: { name: string; entry: Entry }) {
  const there = isObject(current.value.scene.value[name]);
  const begin = Object.fromEntries((entry.required ?? []).map((key) => [key, kLeftOut[key] ?? 1]));
  return (
    <section class="group" aria-label={titleOf(name)} title={entry.description}>
      <h2 class="switch">
        <label>
          <input
            type="checkbox"
            checked={there}
            onChange={() => change(there ? `remove ${name}` : `add ${name}`, [name], there ? undefined : begin)}
          />
          {titleOf(name)}
        </label>
      </h2>
      {there &&
        Object.entries(entry.properties ?? {}).map(([key, inner]) => (
          <Field key={key} path={[name, key]} entry={inner} />
        ))}
    </section>
  );
}

function fileOf(value: Json | undefined): string {
  return isObject(value) ? String(value.file) : typeof value === "string" ? value : "";
}

function Background() {
  const value = current.value.scene.value.background;
  const names = Object.keys(current.value.files.value).filter((name) => isPicture(name) || isFilm(name));
  const colour = typeof value === "string" && value.startsWith("#");
  const file = colour ? "" : fileOf(value);
  const kind = value === undefined ? "none" : colour ? "colour" : file;
  const choices = [
    ["none", "None: alpha stays"],
    ["colour", "A colour"],
    ["input", "The scene's input"],
    ...[...new Set([...(file && file !== "input" ? [file] : []), ...names])].map((name) => [name, name]),
  ] as [string, string][];
  const set = (next: string) =>
    change(
      "change the background",
      ["background"],
      next === "none" ? undefined : next === "colour" ? "#101418" : next === "input" ? next : { file: next },
    );
  return (
    <div class="row">
      <span class="diamond" />
      <span class="name">Background</span>
      <span class="control">
        {colour && (
          <ColourField
            label="Background colour"
            value={value}
            onChange={(next, gesture) => change("change the background", ["background"], next, gesture)}
          />
        )}
        <Choice label="Background" value={kind} choices={choices} onChange={set} />
      </span>
    </div>
  );
}

function Sound() {
  const value = current.value.scene.value.sound;
  const file = fileOf(value);
  const names = [...new Set([...(file ? [file] : []), ...Object.keys(current.value.files.value).filter(isSound)])];
  const kind = value === undefined ? "auto" : value === null ? "none" : file;
  const choices = [["auto", "As parameters follow"], ["none", "None"], ...names.map((name) => [name, name])] as [
    string,
    string,
  ][];
  const start = isObject(value) ? Number(value.start ?? 0) : 0;
  return (
    <div class="row">
      <span class="diamond" />
      <span class="name">Sound</span>
      <span class="control">
        <Choice
          label="Sound"
          value={kind}
          choices={choices}
          onChange={(next) =>
            change("change the sound", ["sound"], next === "auto" ? undefined : next === "none" ? null : next)
          }
        />
        {file && (
          <NumberField
            label="Sound start"
            value={start}
            step={0.1}
            unit="s"
            onChange={(next, gesture) => change("change the sound's start", ["sound"], { file, start: next }, gesture)}
          />
        )}
      </span>
    </div>
  );
}

export function ScenePanel() {
  const properties = (schema.value.properties ?? {}) as Record<string, Entry>;
  const plain = (...keys: string[]) =>
    keys.filter((key) => key in properties).map((key) => <Field key={key} path={[key]} entry={properties[key]!} />);
  const known = new Set([
    "version",
    "$schema",
    "input",
    "layers",
    "masks",
    "parameters",
    "effects",
    "background",
    "sound",
    "blend",
    "compositing",
  ]);
  const rest = Object.keys(properties).filter((key) => !known.has(key));
  const sections = rest.filter((key) => properties[key]!.type === "object");
  return (
    <>
      {plain(...rest.filter((key) => !sections.includes(key)))}
      <Background />
      {plain("blend", "compositing")}
      <Sound />
      {sections.map((key) => (
        <Section key={key} name={key} entry={properties[key]!} />
      ))}
    </>
  );
}
