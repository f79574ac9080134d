// The waves under the pointer: their outlines and numbers, from the effect's own report.
import { effect, signal } from "@preact/signals";
import { useEffect } from "preact/hooks";

import { effectIndex } from "../document/open";
import { wavesNow } from "../engine/analysis";
import type { Wave } from "../engine/core";
import { dragging, revision } from "../engine/engine";
import { frame, playing } from "../engine/frames";

export const wavesShown = signal(false);
const waves = signal<Wave[]>([]);
const pointed = signal<number | undefined>(undefined);

const outlineOf = ({ outline }: Wave) =>
  outline.length > 0 ? `M${outline.map((point) => point.join(" ")).join("L")}Z` : "";

export function Waves({ scale }: { scale: number }) {
  useEffect(
    () =>
      effect(() => {
        revision.value;
        frame.value;
        effectIndex.value;
        if (playing.value || dragging.value) return;
        const timer = setTimeout(
          () =>
            wavesNow()
              .then((found) => (waves.value = found))
              .catch(() => undefined),
          40,
        );
        return () => clearTimeout(timer);
      }),
    [],
  );
  if (playing.value) return null;
  const under = waves.value.find(({ wave }) => wave === pointed.value);
  return (
    <g class="waves">
      {waves.value.map((wave) => (
        <g
          key={wave.wave}
          onPointerEnter={() => (pointed.value = wave.wave)}
          onPointerLeave={() => (pointed.value = undefined)}
        >
          <path class="reach" d={outlineOf(wave)} stroke-width={Math.max(12 / scale, wave.strokeWidth)} />
          <path
            class={wave === under ? "outline pointed" : "outline"}
            d={outlineOf(wave)}
            stroke-width={(wave === under ? 2 : 1) / scale}
          />
        </g>
      ))}
      {under && (
        <g transform={`translate(${under.centre.join(" ")}) scale(${1 / scale})`} class="numbers">
          <rect x="8" y="-46" width="258" height="92" rx="4" />
          {[
            `Wave ${under.wave} · ${under.waveType}`,
            `age ${under.age.toFixed(2)} s of ${under.lifespan.toFixed(2)} s`,
            `size ${under.size.toFixed(1)} · ${under.angle.toFixed(1)}°`,
            `width ${under.strokeWidth.toFixed(1)} · opacity ${(100 * under.opacity).toFixed(0)} % · ${under.color}`,
          ].map((line, i) => (
            <text key={i} x="18" y={-24 + 20 * i}>
              {line}
            </text>
          ))}
        </g>
      )}
    </g>
  );
}
