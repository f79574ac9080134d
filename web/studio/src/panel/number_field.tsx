// A number: typed, stepped with the arrow keys, or dragged. Shift is coarse, Alt fine.
import { useRef } from "preact/hooks";

import { newGesture } from "../session/state";
import { dragging } from "../engine/engine";

export interface NumberFieldProps {
  label: string;
  value: number;
  min?: number;
  max?: number;
  /** What one step of the arrow keys or four pixels of a drag change. */
  step?: number;
  precision?: number;
  unit?: string;
  title?: string;
  disabled?: boolean;
  onChange(value: number, gesture: string): void;
}

const kFits = 7;

export function shownNumber(value: number, precision: number): string {
  const fixed = value.toFixed(precision);
  const exact = String(Number(value.toFixed(6)));
  return Math.abs(Number(fixed) - value) < 1e-9 || exact.length > kFits ? fixed : exact;
}

const kStill = 3;

export function NumberField(props: NumberFieldProps) {
  const {
    label,
    value,
    min = -Infinity,
    max = Infinity,
    step = 1,
    precision = 2,
    unit,
    title,
    disabled,
    onChange,
  } = props;
  const gesture = useRef("");
  const typed = useRef(false);
  const input = useRef<HTMLInputElement>(null);
  const change = (next: number) => {
    const inside = Math.min(max, Math.max(min, Number(next.toFixed(Math.max(precision, 4)))));
    if (inside !== value) onChange(precision === 0 ? Math.round(inside) : inside, gesture.current);
  };
  const scale = (event: { shiftKey: boolean; altKey: boolean }) => (event.shiftKey ? 10 : event.altKey ? 0.1 : 1);

  const drag = (down: PointerEvent) => {
    if (down.button !== 0 || document.activeElement === input.current) return;
    down.preventDefault();
    const field = down.currentTarget as HTMLElement;
    field.setPointerCapture(down.pointerId);
    gesture.current = newGesture();
    let moved = false;
    let at = value;
    let x = down.clientX;
    field.onpointermove = (move) => {
      if (!moved && Math.abs(move.clientX - down.clientX) < kStill) return;
      moved = dragging.value = true;
      at = Math.min(max, Math.max(min, at + ((move.clientX - x) / 4) * step * scale(move)));
      x = move.clientX;
      change(Number((Math.round(at / (step * 0.1)) * step * 0.1).toFixed(6)));
    };
    field.onpointerup = field.onpointercancel = () => {
      field.onpointermove = field.onpointerup = field.onpointercancel = null;
      dragging.value = false;
      if (!moved) input.current?.select();
      if (!moved) input.current?.focus();
    };
  };
  const keys = (event: KeyboardEvent) => {
    const up = { ArrowUp: 1, ArrowDown: -1, PageUp: 10, PageDown: -10 }[event.key];
    if (up !== undefined) {
      event.preventDefault();
      typed.current = false;
      change(value + up * step * scale(event));
    } else if (event.key === "Enter" || event.key === "Escape") {
      input.current?.blur();
    }
  };
  return (
    <span class="number" onPointerDown={drag} title={title}>
      <input
        ref={input}
        type="text"
        inputMode="decimal"
        role="spinbutton"
        aria-label={label}
        aria-valuenow={value}
        aria-valuetext={unit ? `${value} ${unit}` : undefined}
        aria-valuemin={Number.isFinite(min) ? min : undefined}
        aria-valuemax={Number.isFinite(max) ? max : undefined}
        disabled={disabled}
        autocomplete="off"
        value={shownNumber(value, precision)}
        onFocus={() => (gesture.current = newGesture())}
        onInput={(event) => {
          const text = event.currentTarget.value.trim().replace(",", ".");
          typed.current = true;
          if (text !== "" && Number.isFinite(Number(text)) && Number(text) >= min && Number(text) <= max)
            change(Number(text));
        }}
        onKeyDown={keys}
        onBlur={(event) => {
          const text = event.currentTarget.value.trim().replace(",", ".");
          if (typed.current && text !== "" && Number.isFinite(Number(text))) change(Number(text));
          typed.current = false;
          event.currentTarget.value = shownNumber(props.value, precision);
        }}
      />
      {unit && (
        <span class="unit" aria-hidden="true">
          {unit}
        </span>
      )}
    </span>
  );
}
