// A control for each kind of value.
import type { ComponentChildren } from "preact";

import { current } from "../document/open";
import { newGesture } from "../session/state";
import type { Json, JsonObject } from "../document/json";
import type { Parameter } from "../document/catalog";
import { dragging } from "../engine/engine";
import { NumberField } from "./number_field";
import { Thumbnail } from "./thumbnail";

export interface ControlProps {
  parameter: Parameter;
  value: Json;
  disabled?: boolean;
  onChange(value: Json, gesture?: string): void;
}

export function stepOf({ kind, precision, sliderMin, sliderMax }: Parameter): number {
  if (kind === "integer") return 1;
  if (kind === "angle" || kind === "point") return 1;
  const span = sliderMax - sliderMin;
  return Math.max(10 ** -precision, 10 ** (Math.floor(Math.log10(span)) - 2));
}

export function Slider({ parameter, value, disabled, onChange }: ControlProps) {
  const { name, sliderMin, sliderMax } = parameter;
  let gesture = "";
  const end = () => (dragging.value = false);
  const share = Math.min(1, Math.max(0, (Number(value) - sliderMin) / (sliderMax - sliderMin)));
  return (
    <input
      type="range"
      class="slider"
      aria-label={`${name} slider`}
      tabIndex={-1}
      min={sliderMin}
      max={sliderMax}
      step={parameter.kind === "integer" ? 1 : (sliderMax - sliderMin) / 1000}
      value={Number(value)}
      disabled={disabled}
      style={{ "--share": `${share * 100}%` }}
      onPointerDown={() => {
        gesture = newGesture();
        dragging.value = true;
        addEventListener("pointerup", end, { once: true });
      }}
      onInput={(event) =>
        onChange(
          Number(Number(event.currentTarget.value).toFixed(Math.max(parameter.precision, 2))),
          gesture || undefined,
        )
      }
      onChange={end}
    />
  );
}

function NumberControl(props: ControlProps) {
  const { parameter, value, disabled, onChange } = props;
  return (
    <>
      <Slider {...props} />
      <NumberField
        label={parameter.name.trim()}
        value={Number(value)}
        min={parameter.min}
        max={parameter.max}
        step={stepOf(parameter)}
        precision={parameter.kind === "integer" ? 0 : parameter.precision}
        disabled={disabled}
        onChange={onChange}
      />
    </>
  );
}

function AngleControl({ parameter, value, disabled, onChange }: ControlProps) {
  const turn = (down: PointerEvent) => {
    const dial = down.currentTarget as SVGElement;
    const box = dial.getBoundingClientRect();
    const gesture = newGesture();
    const turned = (event: PointerEvent) => {
      const angle =
        (Math.atan2(event.clientX - box.x - box.width / 2, box.y + box.height / 2 - event.clientY) * 180) / Math.PI;
      // Whole turns are kept: the nearest angle that points there.
      const near = Number(value) + ((((angle - Number(value)) % 360) + 540) % 360) - 180;
      onChange(event.shiftKey ? Math.round(near / 15) * 15 : Math.round(near), gesture);
    };
    dial.setPointerCapture(down.pointerId);
    dragging.value = true;
    turned(down);
    dial.onpointermove = turned;
    dial.onpointerup = dial.onpointercancel = () => {
      dial.onpointermove = null;
      dragging.value = false;
    };
  };
  return (
    <>
      <svg class="dial" viewBox="-12 -12 24 24" aria-hidden="true" onPointerDown={disabled ? undefined : turn}>
        <circle r="10.5" />
        <line y2="-10.5" transform={`rotate(${Number(value)})`} />
      </svg>
      <NumberField
        label={parameter.name}
        value={Number(value)}
        min={-32768}
        max={32767.99}
        precision={1}
        unit="°"
        disabled={disabled}
        onChange={onChange}
      />
    </>
  );
}

function PointControl({ parameter, value, disabled, onChange }: ControlProps) {
  const [x, y] = Array.isArray(value) ? value.map(Number) : [0, 0];
  const shared = { min: -32768, max: 32767.99, precision: 1, disabled };
  return (
    <>
      <NumberField
        {...shared}
        label={`${parameter.name} x`}
        value={x!}
        onChange={(next, gesture) => onChange([next, y!], gesture)}
      />
      <NumberField
        {...shared}
        label={`${parameter.name} y`}
        value={y!}
        onChange={(next, gesture) => onChange([x!, next], gesture)}
      />
    </>
  );
}

export function ColourField({
  label,
  value,
  disabled,
  onChange,
}: {
  label: string;
  value: string;
  disabled?: boolean;
  onChange(value: string, gesture?: string): void;
}) {
  const gesture = newGesture();
  return (
    <>
      <input
        type="color"
        aria-label={label}
        value={value}
        disabled={disabled}
        onInput={(event) => onChange(event.currentTarget.value, gesture)}
      />
      <input
        type="text"
        class="hex"
        aria-label={`${label} as text`}
        value={value}
        disabled={disabled}
        spellcheck={false}
        maxLength={7}
        onChange={(event) => {
          const text = event.currentTarget.value.trim().replace(/^#?/, "#").toLowerCase();
          if (/^#[0-9a-f]{6}$/.test(text)) onChange(text);
          else event.currentTarget.value = value;
        }}
      />
    </>
  );
}

export function Choice({
  label,
  value,
  disabled,
  choices,
  onChange,
  children,
}: {
  label: string;
  value: string;
  disabled?: boolean;
  choices: readonly (readonly [string, string])[];
  onChange(value: string): void;
  children?: ComponentChildren;
}) {
  return (
    <>
      {children}
      <select
        aria-label={label}
        value={value}
        disabled={disabled}
        onChange={(event) => onChange(event.currentTarget.value)}
      >
        {choices.map(([id, text]) => (
          <option key={id} value={id}>
            {text}
          </option>
        ))}
      </select>
    </>
  );
}

function NamedControl({ parameter, value, disabled, onChange }: ControlProps) {
  const kind = parameter.kind === "layer" ? "layers" : "masks";
  const names = Object.keys((current.value.scene.value[kind] as JsonObject | undefined) ?? {});
  const none = parameter.kind === "layer" ? "The effect's own layer" : "None";
  return (
    <Choice
      label={parameter.name}
      value={value === null ? "" : String(value)}
      disabled={disabled}
      choices={[["", none], ...names.map((name) => [name, name] as const)]}
      onChange={(name) => onChange(name === "" ? null : name)}
    >
      {value !== null && <Thumbnail kind={kind} name={String(value)} />}
    </Choice>
  );
}

export function Control(props: ControlProps) {
  const { parameter, value, disabled, onChange } = props;
  switch (parameter.kind) {
    case "number":
    case "integer":
      return <NumberControl {...props} />;
    case "angle":
      return <AngleControl {...props} />;
    case "point":
      return <PointControl {...props} />;
    case "color":
      return <ColourField label={parameter.name} value={String(value)} disabled={disabled} onChange={onChange} />;
    case "checkbox":
      return (
        <input
          type="checkbox"
          aria-label={parameter.name}
          checked={value === true}
          disabled={disabled}
          onChange={(event) => onChange(event.currentTarget.checked)}
        />
      );
    case "popup": {
      const text = typeof value === "number" ? (parameter.choices[value - 1] ?? "") : String(value);
      return (
        <Choice
          label={parameter.name}
          value={text}
          disabled={disabled}
          choices={parameter.choices.map((choice) => [choice, choice] as const)}
          onChange={onChange}
        />
      );
    }
    default:
      return <NamedControl {...props} />;
  }
}
