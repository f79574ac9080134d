// The panel: the chosen effect's parameters by group, the scene, its media.
import { effect, signal } from "@preact/signals";
import type { VNode } from "preact";

import { chooseEffect, current, effectIndex } from "../document/open";
import { panelTab, search } from "../session/state";
import { withItem, without, withValue } from "../document/edits";
import { isObject, type Json, type JsonObject, valueAt } from "../document/json";
import { effectCount, parametersPath, setting } from "../document/parameters";
import { shown } from "../engine/analysis";
import type { Parameter } from "../document/catalog";
import { parameters } from "../engine/engine";
import { Choice } from "./controls";
import { Icon } from "./icons";
import { MediaPanel } from "./media_panel";
import { NumberField } from "./number_field";
import { ParameterRow } from "./row";
import { ScenePanel } from "./scene_panel";

const folded = signal<ReadonlyMap<string, boolean>>(new Map());
const onlyChanged = signal(false);

function isOpen(group: string): boolean {
  return folded.value.get(group) ?? shown.value?.inactiveGroups.has(group) !== true;
}

function matches({ name, description }: Parameter): boolean {
  const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
  return words.every((word) => `${name} ${description}`.toLowerCase().includes(word));
}

// The same element is not looked at again when the panel is drawn anew.
const rows = new Map<Parameter, VNode>();
function rowOf(parameter: Parameter): VNode {
  const row = rows.get(parameter) ?? <ParameterRow key={parameter.name} parameter={parameter} />;
  rows.set(parameter, row);
  return row;
}

function Group({ name, members }: { name: string; members: Parameter[] }) {
  const open = search.value !== "" || onlyChanged.value || isOpen(name);
  if (members.length === 0) return null;
  if (name === "") return <>{members.map(rowOf)}</>;
  const inactive = shown.value?.inactiveGroups.has(name) === true;
  return (
    <section aria-label={name} class={inactive ? "group inactive" : "group"}>
      <h2>
        <button aria-expanded={open} onClick={() => (folded.value = new Map(folded.value).set(name, !open))}>
          <Icon name="fold" />
          {name}
        </button>
      </h2>
      {open && members.map(rowOf)}
    </section>
  );
}

// A scene of one effect keeps it under "parameters" until there is a second one.
function addEffect(copy: boolean): void {
  const document = current.peek();
  const scene = document.scene.value;
  const index = effectIndex.peek();
  const before = valueAt(scene, parametersPath(scene, index)) ?? {};
  const added: JsonObject = { parameters: copy ? before : {} };
  let text = document.text.value;
  if (Array.isArray(scene.effects)) text = withItem(text, ["effects"], index + 1, added);
  else text = withValue(without(text, ["parameters"]), ["effects"], [{ parameters: before }, added]);
  document.change(copy ? "duplicate the effect" : "add an effect", text);
  chooseEffect(index + 1);
}

function removeEffect(): void {
  const document = current.peek();
  document.change("remove the effect", without(document.text.value, ["effects", effectIndex.peek()]));
}

function Effects() {
  const scene = current.value.scene.value;
  const count = effectCount(scene);
  const index = effectIndex.value;
  const entry = Array.isArray(scene.effects) ? scene.effects[index] : undefined;
  const set = (key: string, value: Json, gesture?: string) => {
    current
      .peek()
      .change(
        `change ${key} of the effect`,
        withValue(current.peek().text.value, ["effects", index, key], value),
        gesture,
      );
  };
  return (
    <div class="effects">
      <div role="group" aria-label="Effects" class="chips">
        {Array.from({ length: count }, (_, i) => (
          <button key={i} class="chip" aria-pressed={i === index} onClick={() => chooseEffect(i)}>
            Effect {i + 1}
          </button>
        ))}
        <button class="small" aria-label="Add an effect" title="Add an effect" onClick={() => addEffect(false)}>
          <Icon name="add" />
        </button>
        <button
          class="small"
          aria-label="Duplicate the effect"
          title="Duplicate the effect"
          onClick={() => addEffect(true)}
        >
          <Icon name="copy" />
        </button>
        {count > 1 && (
          <button class="small" aria-label="Remove the effect" title="Remove the effect" onClick={removeEffect}>
            <Icon name="remove" />
          </button>
        )}
      </div>
      {isObject(entry) && (
        <div class="row">
          <span class="diamond" />
          <span class="name">Laid over</span>
          <span class="control">
            <Choice
              label="Blend of the effect"
              value={String(entry.blend ?? "normal")}
              choices={["normal", "add", "screen", "multiply"].map((each) => [each, each] as const)}
              onChange={(blend) => set("blend", blend)}
            />
            <NumberField
              label="Opacity of the effect"
              value={Number(entry.opacity ?? 1)}
              min={0}
              max={1}
              step={0.01}
              onChange={(value, gesture) => set("opacity", value, gesture)}
            />
          </span>
        </div>
      )}
    </div>
  );
}

// Rows are many: they come a few at a time, and what moves meanwhile is not held up.
const built = signal(0);
const kRowsAtOnce = 8;
effect(() => {
  if (built.value < parameters.value.length) setTimeout(() => (built.value += kRowsAtOnce));
});

function EffectPanel() {
  const isSet = ({ name }: Parameter) => setting(current.value.scene.value, effectIndex.value, name) !== undefined;
  const all = parameters.value
    .slice(0, built.value)
    .filter(matches)
    .filter((parameter) => !onlyChanged.value || isSet(parameter));
  const groups = [...new Set(parameters.value.map(({ group }) => group))];
  return (
    <>
      <Effects />
      <div class="search">
        <Icon name="search" />
        <input
          type="search"
          aria-label="Search parameters"
          placeholder="Search"
          value={search.value}
          onInput={(event) => (search.value = event.currentTarget.value)}
        />
        <button
          class="chip"
          aria-pressed={onlyChanged.value}
          title="Show only what the scene sets"
          onClick={() => (onlyChanged.value = !onlyChanged.value)}
        >
          Changed
        </button>
      </div>
      {groups.map((group) => (
        <Group key={group} name={group} members={all.filter((parameter) => parameter.group === group)} />
      ))}
      {all.length === 0 && built.value > 0 && <p class="hint">No parameter of that name.</p>}
    </>
  );
}

const kTabs = [
  ["effect", "Effect"],
  ["scene", "Scene"],
  ["media", "Media & masks"],
] as const;

export function Panel() {
  const move = (event: KeyboardEvent) => {
    const by = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
    if (by === undefined) return;
    const index = kTabs.findIndex(([id]) => id === panelTab.value) + by;
    panelTab.value = kTabs[(index + kTabs.length) % kTabs.length]![0];
    (event.currentTarget as HTMLElement).querySelectorAll("button")[(index + kTabs.length) % kTabs.length]?.focus();
  };
  return (
    <aside class="panel" aria-label="Panel">
      <div role="tablist" aria-label="Panel" onKeyDown={move}>
        {kTabs.map(([id, text]) => (
          <button
            key={id}
            role="tab"
            id={`tab-${id}`}
            aria-controls="panel-body"
            aria-selected={panelTab.value === id}
            tabIndex={panelTab.value === id ? 0 : -1}
            onClick={() => (panelTab.value = id)}
          >
            {text}
          </button>
        ))}
      </div>
      <div role="tabpanel" id="panel-body" aria-labelledby={`tab-${panelTab.value}`} class="body" tabIndex={0}>
        {panelTab.value === "effect" ? <EffectPanel /> : panelTab.value === "scene" ? <ScenePanel /> : <MediaPanel />}
      </div>
    </aside>
  );
}
