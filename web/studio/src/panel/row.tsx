// A parameter: its diamond, name, control, and what makes it move.
import { useComputed } from "@preact/signals";
import { useState } from "preact/hooks";

import type { Parameter } from "../document/catalog";
import type { Json } from "../document/json";
import { current, effectIndex } from "../document/open";
import { keysOf, ParameterEdit, setting, sourceOf } from "../document/parameters";
import { shown } from "../engine/analysis";
import { complaints } from "../engine/engine";
import { chosenParameter, currentTime } from "../session/state";
import { valueNow } from "../session/value_now";
import { Control } from "./controls";
import { Diamond, Icon } from "./icons";
import { Motion } from "./motion";

function KeyButton({ edit, value }: { edit: ParameterEdit; value: Json }) {
  const state = useComputed(() =>
    edit.keyAt(currentTime.value) >= 0 ? "here" : keysOf(edit.setting) ? "elsewhere" : "none",
  ).value;
  const toggle = () => {
    const there = edit.keyAt(currentTime.peek());
    if (there >= 0) edit.removeKeys([there]);
    else edit.setKey(currentTime.peek(), value);
  };
  return (
    <button
      class={`diamond ${state}`}
      aria-pressed={state === "here"}
      aria-label={`Key for ${edit.parameter.name}`}
      title={state === "here" ? "Remove the key at this frame" : "Set a key at this frame"}
      onClick={toggle}
    >
      <Diamond />
    </button>
  );
}

export function ParameterRow({ parameter }: { parameter: Parameter }) {
  const { name } = parameter;
  const [unfolded, unfold] = useState(false);
  // The row is drawn anew when what it shows changes, not with every change of the scene.
  const written = useComputed(() => JSON.stringify(setting(current.value.scene.value, effectIndex.value, name)));
  const valueText = useComputed(() =>
    JSON.stringify(valueNow(parameter, setting(current.value.scene.value, effectIndex.value, name))),
  );
  const names = useComputed(() =>
    parameter.kind === "layer" || parameter.kind === "mask"
      ? JSON.stringify([current.value.scene.value.layers, current.value.scene.value.masks])
      : "",
  );
  const said = useComputed(() =>
    complaints.value.filter(({ pointer }) => pointer.split("/").includes(name.replaceAll("/", "~1"))),
  );
  const inactive = useComputed(() => shown.value?.inactive.has(name) === true).value;
  const chosen = useComputed(() => chosenParameter.value === name).value;
  names.value;
  const edit = new ParameterEdit(current.value, effectIndex.value, parameter);
  const now: Json | undefined = written.value === undefined ? undefined : JSON.parse(written.value);
  const value: Json = JSON.parse(valueText.value);
  const source = sourceOf(now);
  return (
    <div
      class={`row ${inactive ? "inactive" : ""} ${chosen ? "chosen" : ""}`}
      data-parameter={name}
      onFocusIn={() => (chosenParameter.value = name)}
    >
      {source ? (
        <span class="diamond source" title={`Moved by: ${source}`} aria-hidden="true">
          <Icon name={source} />
        </span>
      ) : (
        <KeyButton key={`${current.value.id} ${effectIndex.value}`} edit={edit} value={value} />
      )}
      <span class="name" title={parameter.description}>
        {name}
      </span>
      <span class="control">
        <Control
          parameter={parameter}
          value={value}
          disabled={source !== undefined}
          onChange={(next, gesture) => edit.set(next, currentTime.peek(), gesture)}
        />
      </span>
      <button
        class="small"
        aria-label={`Motion of ${name}`}
        aria-expanded={unfolded}
        title="Keys, chance, sound or a formula"
        onClick={() => unfold(!unfolded)}
      >
        <Icon name="more" />
      </button>
      <button
        class="small"
        aria-label={`Reset ${name}`}
        title="Back to the default"
        disabled={now === undefined}
        onClick={() => edit.reset()}
      >
        <Icon name="reset" />
      </button>
      {said.value.map(({ message }) => (
        <p class="complaint" role="alert" key={message}>
          {message}
        </p>
      ))}
      {unfolded && <Motion edit={edit} setting={now} value={value} />}
    </div>
  );
}
