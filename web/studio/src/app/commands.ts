// Everything that can be done from the keyboard, in one table: the keys, the menus and the list under "?" come from it.
import { SceneDocument } from "../document/document";
import { type CopiedKey, copyKeys, pasteKeys } from "../document/keys";
import { current, effectIndex, kNewScene } from "../document/open";
import { ParameterEdit } from "../document/parameters";
import { frameCount, parameters } from "../engine/engine";
import { frame, playing } from "../engine/frames";
import { looping, loopRange, playedRange } from "../engine/playing";
import { handlesShown, zoomBy, zoomTo } from "../picture/view";
import { wavesShown } from "../picture/waves";
import { pick, save, take } from "../session/files";
import { copyLink } from "../session/link";
import { chosenParameter, currentTime, dialog, open, panelTab, selectedKeys, theme } from "../session/state";
import { surprise } from "../session/surprise";
import { valueNow } from "../session/value_now";
import { deleteSelected, nudgeKeys } from "../timeline/row";
import { allKeys, goTo } from "../timeline/timeline";
import { showAll } from "../timeline/ruler";

export interface Command {
  id: string;
  label: string;
  /** As KeyboardEvent names them; Mod is Ctrl, or Cmd on a Mac. */
  keys: string[];
  run(): void;
  /** Taken also while a field has the focus. */
  always?: boolean;
}

let copied: CopiedKey[] = [];

function toggleKey(): void {
  const parameter = parameters.peek().find(({ name }) => name === chosenParameter.peek());
  if (!parameter) return;
  const edit = new ParameterEdit(current.peek(), effectIndex.peek(), parameter);
  const there = edit.keyAt(currentTime.peek());
  if (there >= 0) edit.removeKeys([there]);
  else edit.setKey(currentTime.peek(), valueNow(parameter, edit.setting));
}

function toKey(by: 1 | -1): void {
  const times = allKeys()
    .map(({ time }) => time)
    .sort((a, b) => a - b);
  const now = currentTime.peek();
  const next = by > 0 ? times.find((time) => time > now + 1e-4) : times.reverse().find((time) => time < now - 1e-4);
  if (next !== undefined)
    goTo(Math.round((next * frameCount.peek()) / Math.max(1e-9, Number(current.peek().scene.peek().duration))));
}

function setLoop(end: "first" | "last"): void {
  loopRange.value = { ...playedRange(), [end]: frame.peek() };
}

export const commands: Command[] = [
  { id: "play", label: "Play or pause", keys: ["Space"], run: () => (playing.value = !playing.peek()) },
  { id: "back", label: "One frame back", keys: ["ArrowLeft", ","], run: () => goTo(frame.peek() - 1) },
  { id: "forward", label: "One frame on", keys: ["ArrowRight", "."], run: () => goTo(frame.peek() + 1) },
  { id: "back10", label: "Ten frames back", keys: ["Shift+ArrowLeft"], run: () => goTo(frame.peek() - 10) },
  { id: "forward10", label: "Ten frames on", keys: ["Shift+ArrowRight"], run: () => goTo(frame.peek() + 10) },
  { id: "first", label: "First frame", keys: ["Home"], run: () => goTo(0) },
  { id: "last", label: "Last frame", keys: ["End"], run: () => goTo(frameCount.peek() - 1) },
  { id: "previousKey", label: "To the key before", keys: ["J"], run: () => toKey(-1) },
  { id: "nextKey", label: "To the next key", keys: ["K"], run: () => toKey(1) },
  { id: "loop", label: "Play in a loop", keys: ["L"], run: () => (looping.value = !looping.peek()) },
  { id: "loopIn", label: "Loop starts here", keys: ["I"], run: () => setLoop("first") },
  { id: "loopOut", label: "Loop ends here", keys: ["O"], run: () => setLoop("last") },
  { id: "loopAll", label: "Loop over everything", keys: ["Shift+L"], run: () => (loopRange.value = undefined) },
  { id: "key", label: "Set or remove a key of the chosen parameter", keys: ["D"], run: toggleKey },
  { id: "deleteKeys", label: "Delete the chosen keys", keys: ["Delete", "Backspace"], run: deleteSelected },
  {
    id: "copyKeys",
    label: "Copy the chosen keys",
    keys: ["Mod+C"],
    run: () => (copied = copyKeys(current.peek(), selectedKeys.peek())),
  },
  {
    id: "pasteKeys",
    label: "Paste keys at the play head",
    keys: ["Mod+V"],
    run: () => copied.length > 0 && (selectedKeys.value = pasteKeys(current.peek(), copied, currentTime.peek())),
  },
  { id: "allKeys", label: "Choose all keys", keys: ["Mod+A"], run: () => (selectedKeys.value = allKeys()) },
  { id: "keysBack", label: "Chosen keys a frame back", keys: ["Alt+ArrowLeft"], run: () => nudgeKeys(-1) },
  { id: "keysOn", label: "Chosen keys a frame on", keys: ["Alt+ArrowRight"], run: () => nudgeKeys(1) },
  { id: "undo", label: "Undo", keys: ["Mod+Z"], run: () => current.peek().undo(), always: true },
  { id: "redo", label: "Redo", keys: ["Mod+Shift+Z", "Mod+Y"], run: () => current.peek().redo(), always: true },
  { id: "new", label: "New scene", keys: ["Alt+N"], run: () => open(new SceneDocument(kNewScene)) },
  { id: "open", label: "Open…", keys: ["Mod+O"], run: () => void pick().then(take), always: true },
  { id: "save", label: "Save the scene file", keys: ["Mod+S"], run: () => void save(), always: true },
  { id: "presets", label: "Presets…", keys: ["P"], run: () => (dialog.value = "presets") },
  { id: "export", label: "Export…", keys: ["Mod+E"], run: () => (dialog.value = "export"), always: true },
  {
    id: "link",
    label: "Copy a link that holds the scene",
    keys: ["Shift+C"],
    run: () => void copyLink(current.peek()),
  },
  { id: "surprise", label: "Surprise me", keys: ["R"], run: surprise },
  { id: "text", label: "The scene as text…", keys: ["T"], run: () => (dialog.value = "text") },
  { id: "search", label: "Search parameters", keys: ["/"], run: () => focusSearch() },
  { id: "waves", label: "Outlines of the waves", keys: ["W"], run: () => (wavesShown.value = !wavesShown.peek()) },
  {
    id: "handles",
    label: "Handles on the picture",
    keys: ["H"],
    run: () => (handlesShown.value = !handlesShown.peek()),
  },
  { id: "fit", label: "Fit the picture", keys: ["F"], run: () => zoomTo("fit") },
  { id: "whole", label: "Picture at 100 %", keys: ["1"], run: () => zoomTo(1) },
  { id: "zoomIn", label: "Zoom in", keys: ["+", "="], run: () => zoomBy(1.25) },
  { id: "zoomOut", label: "Zoom out", keys: ["-"], run: () => zoomBy(1 / 1.25) },
  { id: "allTime", label: "Whole time line", keys: ["Shift+F"], run: showAll },
  {
    id: "theme",
    label: "Dark or light",
    keys: ["Shift+D"],
    run: () => (theme.value = theme.peek() === "dark" ? "light" : "dark"),
  },
  { id: "help", label: "This list", keys: ["?"], run: () => (dialog.value = "help") },
];

function focusSearch(): void {
  panelTab.value = "effect";
  const field = () => document.querySelector<HTMLInputElement>('input[type="search"]');
  if (field()) field()!.focus();
  else requestAnimationFrame(() => field()?.focus());
}

export function command(id: string): Command {
  return commands.find((each) => each.id === id)!;
}

function nameOf(event: KeyboardEvent): string {
  const letter = event.key === " " ? "Space" : event.key.length === 1 ? event.key.toUpperCase() : event.key;
  // The character says already that Shift was held, unless it is a letter.
  const shift = event.shiftKey && (letter.length > 1 || /[A-Z]/.test(letter));
  return [event.ctrlKey || event.metaKey ? "Mod" : "", event.altKey ? "Alt" : "", shift ? "Shift" : "", letter]
    .filter(Boolean)
    .join("+");
}

function typesInto(target: EventTarget | null): boolean {
  return (
    target instanceof HTMLTextAreaElement ||
    target instanceof HTMLSelectElement ||
    (target instanceof HTMLInputElement && !["checkbox", "range", "color"].includes(target.type))
  );
}

export function followKeys(): void {
  // A button that was clicked does not keep the space bar to itself; one that was reached by keys does.
  addEventListener(
    "click",
    (event) => event.detail > 0 && (event.target as Element).closest<HTMLElement>("button")?.blur(),
  );
  addEventListener("keydown", (event) => {
    if (event.defaultPrevented || document.querySelector("dialog[open]")) return;
    const name = nameOf(event);
    const found = commands.find(({ keys }) => keys.includes(name));
    if (!found || (typesInto(event.target) && !found.always)) return;
    // Buttons are pressed with the space bar.
    if (
      name === "Space" &&
      event.target instanceof HTMLElement &&
      event.target.closest("button, [role=tab], input, [data-handle], summary")
    )
      return;
    event.preventDefault();
    found.run();
  });
}
