// The chosen key: its time, its value, and how the value goes on to the next one.
import { current, effectIndex } from "../document/open";
import { type Easing, keysOf, kSameTime, ParameterEdit } from "../document/parameters";
import { frameOf, timeOf } from "../document/time";
import { moveKeys } from "../document/keys";
import { dragging, parameters, rate } from "../engine/engine";
import { Choice, Control } from "../panel/controls";
import { NumberField } from "../panel/number_field";
import { newGesture, selectedKeys } from "../session/state";

type Four = [number, number, number, number];

const kNamed: Record<string, Four> = {
  linear: [0, 0, 1, 1],
  "ease-in": [0.42, 0, 1, 1],
  "ease-out": [0, 0, 0.58, 1],
  "ease-in-out": [0.42, 0, 0.58, 1],
};

function fourOf(easing: Easing): Four {
  return Array.isArray(easing) ? easing : (kNamed[easing] ?? kNamed.linear!);
}

const kNumbers = ["x1", "y1", "x2", "y2"] as const;
// Above and below there is room for values that overshoot.
const kLow = -0.5;
const kHigh = 1.5;
const X = (x: number) => 100 * x;
const Y = (y: number) => 100 * (kHigh - y);

function Graph({ four, onChange }: { four: Four; onChange(four: Four, gesture: string): void }) {
  const [x1, y1, x2, y2] = four;
  const drag = (which: 0 | 1) => (down: PointerEvent) => {
    const element = down.currentTarget as SVGElement;
    const box = element.ownerSVGElement!.getBoundingClientRect();
    const gesture = newGesture();
    element.setPointerCapture(down.pointerId);
    dragging.value = true;
    element.onpointermove = (move) => {
      const next = [...four] as Four;
      const two = (value: number) => Math.round(value * 100) / 100;
      next[2 * which] = two(Math.min(1, Math.max(0, (move.clientX - box.x - 8) / (box.width - 16))));
      next[2 * which + 1] = two(kHigh - ((move.clientY - box.y) / box.height) * (kHigh - kLow));
      onChange(next, gesture);
    };
    element.onpointerup = element.onpointercancel = () => {
      element.onpointermove = null;
      dragging.value = false;
    };
  };
  return (
    <svg class="graph" viewBox="-8 0 116 200" preserveAspectRatio="none" aria-hidden="true">
      <rect x="0" y={Y(1)} width="100" height="100" />
      <path class="arm" d={`M0 ${Y(0)}L${X(x1)} ${Y(y1)}M100 ${Y(1)}L${X(x2)} ${Y(y2)}`} />
      <path class="ease" d={`M0 ${Y(0)}C${X(x1)} ${Y(y1)} ${X(x2)} ${Y(y2)} 100 ${Y(1)}`} />
      <circle cx={X(x1)} cy={Y(y1)} r="6" onPointerDown={drag(0)} />
      <circle cx={X(x2)} cy={Y(y2)} r="6" onPointerDown={drag(1)} />
    </svg>
  );
}

export function CurveEditor() {
  const place = selectedKeys.value[selectedKeys.value.length - 1];
  const parameter = parameters.value.find(({ name }) => name === place?.name);
  if (!place || !parameter || place.effect !== effectIndex.value) return null;
  const document = current.value;
  const edit = new ParameterEdit(document, place.effect, parameter);
  const keys = keysOf(edit.setting);
  const index = keys?.findIndex(({ time }) => Math.abs(time - place.time) < kSameTime) ?? -1;
  const key = keys?.[index];
  if (!keys || !key) return null;
  const easing = key.interp ?? "linear";
  const goesOn = ["number", "integer", "angle", "point", "color"].includes(parameter.kind);
  const choices = [...Object.keys(kNamed), "hold", "curve"].map((name) => [name, name] as const);
  const chosen = Array.isArray(easing) ? "curve" : easing;
  // All chosen keys take the ease.
  const setEasing = (next: Easing, gesture = newGesture()) => {
    for (const each of selectedKeys.peek()) {
      const of = parameters.peek().find(({ name }) => name === each.name);
      if (!of) continue;
      const other = new ParameterEdit(document, each.effect, of);
      const at = other.keyAt(each.time);
      if (at >= 0) other.setEasing(at, next, gesture);
    }
  };
  const move = (to: number, gesture: string) => {
    const by = timeOf(to, rate.peek()) - place.time;
    selectedKeys.value = moveKeys(document, document.text.peek(), [place], by, gesture, document.scene.peek());
  };
  return (
    <section class="curveeditor" aria-label="Chosen key">
      <h2>
        {parameter.name}
        {selectedKeys.value.length > 1 && ` and ${selectedKeys.value.length - 1} more`}
      </h2>
      <label class="part">
        <span>frame</span>
        <NumberField label="Key frame" value={frameOf(key.time, rate.value)} step={1} precision={0} onChange={move} />
      </label>
      <div class="part control">
        <Control
          parameter={{ ...parameter, name: `Key value of ${parameter.name}` }}
          value={key.value}
          onChange={(value, gesture) => edit.setKey(key.time, value, gesture)}
        />
      </div>
      {goesOn && index < keys.length - 1 && (
        <>
          <label class="part">
            <span>to the next</span>
            <Choice
              label="Ease"
              value={chosen}
              choices={choices}
              onChange={(name) => setEasing(name === "curve" ? fourOf(easing) : name)}
            />
          </label>
          {easing !== "hold" && (
            <>
              <Graph four={fourOf(easing)} onChange={setEasing} />
              <div class="four">
                {kNumbers.map((name, i) => (
                  <NumberField
                    key={name}
                    label={`Curve ${name}`}
                    value={fourOf(easing)[i]!}
                    min={i % 2 === 0 ? 0 : -1000}
                    max={i % 2 === 0 ? 1 : 1000}
                    step={0.01}
                    onChange={(value, gesture) =>
                      setEasing(fourOf(easing).map((old, j) => (i === j ? value : old)) as Four, gesture)
                    }
                  />
                ))}
              </div>
            </>
          )}
        </>
      )}
    </section>
  );
}
