// A parameter: its diamond, name, control, and what makes it move.
import { useState } from "preact/hooks";

import { current, effectIndex } from "../document/open";
import { chosenParameter, currentTime } from "../session/state";
import { type Json } from "../document/json";
import { keysOf, ParameterEdit, sourceOf } from "../document/parameters";
import { shown } from "../engine/analysis";
import type { Parameter } from "../document/catalog";
import { complaints } from "../engine/engine";
import { Control } from "./controls";
import { valueNow } from "../session/value_now";
import { Diamond, Icon } from "./icons";
import { Motion } from "./motion";

function KeyButton({ edit, value }: { edit: ParameterEdit; value: Json }) {
  const keys = keysOf(edit.setting);
  const time = currentTime.value;
  const here = edit.keyAt(time);
  const toggle = () => (here >= 0 ? edit.removeKeys([here]) : edit.setKey(time, value));
  const state = here >= 0 ? "here" : keys ? "elsewhere" : "none";
  return (
    <button class={`diamond ${state}`} aria-pressed={here >= 0} aria-label={`Key for ${edit.parameter.name}`}
      title={here >= 0 ? "Remove the key at this frame" : "Set a key at this frame"} onClick={toggle}>
      <Diamond />
    </button>
  );
}

export function ParameterRow({ parameter }: { parameter: Parameter }) {
  const [unfolded, unfold] = useState(false);
  const edit = new ParameterEdit(current.value, effectIndex.value, parameter);
  const setting = edit.setting;
  const value = valueNow(parameter, setting);
  const inactive = shown.value?.inactive.has(parameter.name) === true;
  const source = sourceOf(setting);
  const said = complaints.value.filter(({ pointer }) => pointer.split("/").includes(parameter.name.replaceAll("/", "~1")));
  const { name } = parameter;
  return (
    <div class={`row ${inactive ? "inactive" : ""} ${chosenParameter.value === name ? "chosen" : ""}`} data-parameter={name} onFocusIn={() => (chosenParameter.value = name)}>
      {source ? <span class="diamond source" title={`Moved by: ${source}`} aria-hidden="true"><Icon name={source} /></span> : <KeyButton edit={edit} value={value} />}
      <span class="name" title={parameter.description}>{name}</span>
      <span class="control">
        <Control parameter={parameter} value={value} disabled={source !== undefined} onChange={(next, gesture) => edit.set(next, currentTime.peek(), gesture)} />
      </span>
      <button class="small" aria-label={`Motion of ${name}`} aria-expanded={unfolded} title="Keys, chance, sound or a formula" onClick={() => unfold(!unfolded)}><Icon name="more" /></button>
      <button class="small" aria-label={`Reset ${name}`} title="Back to the default" disabled={setting === undefined} onClick={() => edit.reset()}><Icon name="reset" /></button>
      {said.map(({ message }) => <p class="complaint" role="alert">{message}</p>)}
      {unfolded && <Motion edit={edit} value={value} />}
    </div>
  );
}
