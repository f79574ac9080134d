// Play, steps, the frame's number, and how the picture is looked at.
import { timeCode } from "../document/time";
import { facts, frameCount, rate } from "../engine/engine";
import { drawTime, frame, picture, playing } from "../engine/frames";
import { looping, loopRange, playedPerSecond, playQuality } from "../engine/playing";
import { muted, sound } from "../engine/sound";
import { Icon } from "../panel/icons";
import { NumberField } from "../panel/number_field";
import { backdrop, scale, zoom, zoomBy, zoomTo } from "../picture/view";
import { wavesShown } from "../picture/waves";
import { goTo } from "./timeline";

function Step({ label, icon, to, keys }: { label: string; icon: string; to(): number; keys: string }) {
  return (
    <button class="tool" aria-label={label} title={`${label} (${keys})`} onClick={() => goTo(to())}>
      <Icon name={icon} />
    </button>
  );
}

function State() {
  const shown = picture.value;
  if (!shown) return null;
  if (playing.value)
    return (
      <span class="state">
        {playedPerSecond.value.toFixed(0)} fps{shown.downsample > 1 ? ` at 1/${shown.downsample}` : ""}
      </span>
    );
  return (
    <span class="state">
      {shown.draft || shown.downsample > 1 ? `preview 1/${shown.downsample}` : "full"} · {drawTime.value.toFixed(0)} ms
    </span>
  );
}

export function Transport() {
  const last = frameCount.value - 1;
  return (
    <div class="transport" role="toolbar" aria-label="Playing">
      <span class="cluster">
        <span class="timecode" aria-hidden="true">
          {timeCode(frame.value, rate.value)}
        </span>
        <NumberField label="Frame" value={frame.value} min={0} max={last} step={1} precision={0} onChange={goTo} />
        <span class="of">of {frameCount.value}</span>
      </span>
      <span class="cluster middle">
        <Step label="First frame" icon="first" keys="Home" to={() => 0} />
        <Step label="Previous frame" icon="back" keys="←" to={() => frame.peek() - 1} />
        <button
          class="tool play"
          aria-label={playing.value ? "Pause" : "Play"}
          title="Play or pause (Space)"
          onClick={() => (playing.value = !playing.peek())}
        >
          <Icon name={playing.value ? "pause" : "play"} />
        </button>
        <Step label="Next frame" icon="forward" keys="→" to={() => frame.peek() + 1} />
        <Step label="Last frame" icon="last" keys="End" to={() => frameCount.peek() - 1} />
        <button
          class="tool"
          aria-label="Loop"
          aria-pressed={looping.value}
          title="Play in a loop (L)"
          onClick={() => (looping.value = !looping.peek())}
        >
          <Icon name="loop" />
        </button>
        {loopRange.value && (
          <button class="chip" title="Play everything again" onClick={() => (loopRange.value = undefined)}>
            {loopRange.value.first}–{loopRange.value.last} ×
          </button>
        )}
        {sound.value && (
          <button
            class="tool"
            aria-label="Sound on"
            aria-pressed={!muted.value}
            onClick={() => (muted.value = !muted.peek())}
          >
            <Icon name={muted.value ? "muted" : "audio"} />
          </button>
        )}
      </span>
      <span class="cluster end">
        <State />
        <button
          class="chip"
          aria-pressed={wavesShown.value}
          title="Outlines of the waves, numbers under the pointer (W)"
          onClick={() => (wavesShown.value = !wavesShown.peek())}
        >
          Waves
        </button>
        <select
          aria-label="Playing quality"
          title="Size of the pictures while playing"
          value={playQuality.value}
          onChange={(event) => (playQuality.value = event.currentTarget.value as "auto" | "full")}
        >
          <option value="auto">Keeps time</option>
          <option value="full">Full size</option>
        </select>
        <select
          aria-label="Behind the picture"
          value={backdrop.value}
          onChange={(event) => (backdrop.value = event.currentTarget.value as "checker")}
        >
          <option value="checker">Checkerboard</option>
          <option value="black">Black</option>
          <option value="white">White</option>
        </select>
        <span class="zoom">
          <button class="tool" aria-label="Zoom out" title="Zoom out (−)" onClick={() => zoomBy(1 / 1.25)}>
            <Icon name="remove" />
          </button>
          <button
            class="chip"
            aria-label={`Zoom ${Math.round(100 * scale.value)} percent; fit`}
            title="Fit (F); 100 % (1)"
            onClick={() => zoomTo(zoom.peek() === "fit" ? 1 : "fit")}
          >
            {Math.round(100 * scale.value)} %
          </button>
          <button class="tool" aria-label="Zoom in" title="Zoom in (+)" onClick={() => zoomBy(1.25)}>
            <Icon name="add" />
          </button>
        </span>
        <span class="size">{facts.value ? `${facts.value.width} × ${facts.value.height}` : ""}</span>
      </span>
    </div>
  );
}
