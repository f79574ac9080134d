// What makes a parameter move, and the numbers of its source.
import { current } from "../document/open";
import { currentTime } from "../session/state";
import { isObject, type Json, type JsonObject } from "../document/json";
import { keysOf, kSourceKinds, type ParameterEdit, type SourceKind, sourceOf } from "../document/parameters";
import { isSound } from "../document/media";
import { Choice } from "./controls";
import { NumberField } from "./number_field";

type MotionKind = "constant" | "keyframes" | SourceKind;
const kNames: Record<MotionKind, string> = {
  constant: "Constant",
  keyframes: "Keyframes",
  random: "Chance",
  audio: "Sound",
  expression: "Formula",
};

function sounds(): string[] {
  return Object.keys(current.value.files.value).filter(isSound);
}

function freshSource(kind: SourceKind, edit: ParameterEdit, from: number): JsonObject {
  const { parameter } = edit;
  const free = parameter.kind === "point" || parameter.kind === "angle";
  const span = free ? 90 : Math.min(parameter.sliderMax - parameter.sliderMin, 10 * Math.max(1, Math.abs(from))) / 2;
  const max = Number(Math.min(parameter.max, from + span).toFixed(2));
  const min = Number(from.toFixed(3));
  if (kind === "random") return { random: { min, max, seed: 1, every: 0.25 } };
  if (kind === "audio") return { audio: { file: sounds()[0] ?? "", band: "bass", min, max } };
  return { expression: `${min} + ${Number((max - min).toFixed(2))} * (1 + sin(2 * pi * t / 4)) / 2` };
}

function Numbers({
  label,
  of,
  keys,
  onChange,
}: {
  label: string;
  of: JsonObject;
  keys: [string, number, number][];
  onChange(of: JsonObject, gesture?: string): void;
}) {
  return (
    <>
      {keys.map(([key, fallback, step]) => (
        <label class="part" key={key}>
          <span>{key}</span>
          <NumberField
            label={`${label} ${key}`}
            value={Number(of[key] ?? fallback)}
            step={step}
            precision={key === "seed" ? 0 : 2}
            onChange={(value, gesture) => onChange({ ...of, [key]: value }, gesture)}
          />
        </label>
      ))}
    </>
  );
}

function SourceFields({
  label,
  source,
  onChange,
}: {
  label: string;
  source: JsonObject;
  onChange(source: JsonObject, gesture?: string): void;
}) {
  if (isObject(source.random)) {
    return (
      <Numbers
        label={label}
        of={source.random}
        keys={[
          ["min", 0, 0.1],
          ["max", 1, 0.1],
          ["seed", 0, 1],
          ["every", 1 / 30, 0.05],
        ]}
        onChange={(random, gesture) => onChange({ random }, gesture)}
      />
    );
  }
  if (isObject(source.audio)) {
    const audio = source.audio;
    const bands = ["full", "bass", "mid", "treble"].map((band) => [band, band] as const);
    const files = [...new Set([String(audio.file ?? ""), ...sounds()])].map(
      (file) => [file, file || "No sound: drop one onto the page"] as const,
    );
    return (
      <>
        <Choice
          label={`${label} sound`}
          value={String(audio.file ?? "")}
          choices={files}
          onChange={(file) => onChange({ audio: { ...audio, file } })}
        />
        <Choice
          label={`${label} band`}
          value={String(audio.band ?? "full")}
          choices={bands}
          onChange={(band) => onChange({ audio: { ...audio, band } })}
        />
        <Numbers
          label={label}
          of={audio}
          keys={[
            ["min", 0, 0.1],
            ["max", 1, 0.1],
            ["attack", 0.005, 0.01],
            ["release", 0.15, 0.01],
            ["start", 0, 0.1],
          ]}
          onChange={(next, gesture) => onChange({ audio: next }, gesture)}
        />
      </>
    );
  }
  return (
    <textarea
      aria-label={`${label} formula`}
      class="formula"
      rows={2}
      spellcheck={false}
      value={String(source.expression ?? "")}
      onChange={(event) => onChange({ expression: event.currentTarget.value })}
    />
  );
}

export function Motion({ edit, setting, value }: { edit: ParameterEdit; setting: Json | undefined; value: Json }) {
  const { parameter } = edit;
  const now: MotionKind = keysOf(setting) ? "keyframes" : (sourceOf(setting) ?? "constant");
  const kinds: MotionKind[] = ["constant", "keyframes", ...(parameter.takesSources ? kSourceKinds : [])];
  const become = (kind: MotionKind) => {
    const label = `let ${parameter.name} move: ${kNames[kind].toLowerCase()}`;
    if (kind === "constant") edit.replace(value, label);
    else if (kind === "keyframes") edit.replace({ keyframes: [{ time: currentTime.peek(), value }] }, label);
    else if (Array.isArray(value)) edit.replace([freshSource(kind, edit, Number(value[0])), Number(value[1])], label);
    else edit.replace(freshSource(kind, edit, Number(value)), label);
  };
  const coordinates = Array.isArray(setting) ? setting : [setting];
  const changed = (index: number, source: JsonObject, gesture?: string) => {
    edit.replace(
      Array.isArray(setting) ? setting.map((each, i) => (i === index ? source : each)) : source,
      `change ${parameter.name}`,
      gesture,
    );
  };
  return (
    <div class="motion">
      <div class="part wide">
        <span>Moves by</span>
        <Choice
          label={`${parameter.name} moves by`}
          value={now}
          choices={kinds.map((kind) => [kind, kNames[kind]] as const)}
          onChange={(kind) => become(kind as MotionKind)}
        />
      </div>
      {coordinates.map(
        (source, i) =>
          isObject(source) &&
          sourceOf(source) && (
            <SourceFields
              key={i}
              label={coordinates.length > 1 ? `${parameter.name} ${"xy"[i]}` : parameter.name}
              source={source}
              onChange={(next, gesture) => changed(i, next, gesture)}
            />
          ),
      )}
    </div>
  );
}
