// Windows over the page: keys, presets, export, the scene's text, a file that changed on disk.
import type { ComponentChildren } from "preact";
import { useEffect, useRef } from "preact/hooks";

import { current } from "../document/open";
import { placeOf } from "../document/edits";
import { pathOf } from "../document/json";
import { complaints } from "../engine/engine";
import { ExportDialog } from "../export/dialog";
import { Icon } from "../panel/icons";
import { conflict, served } from "../session/served";
import { dialog } from "../session/state";
import { commands } from "./commands";
import { Presets } from "./presets";

function Window({ title, wide, children }: { title: string; wide?: boolean; children: ComponentChildren }) {
  const element = useRef<HTMLDialogElement>(null);
  useEffect(() => {
    element.current?.showModal();
    element.current?.querySelector<HTMLElement>("[data-first]")?.focus();
    return () => element.current?.close();
  }, []);
  const close = () => (dialog.value = undefined);
  return (
    <dialog
      ref={element}
      class={wide ? "wide" : ""}
      aria-label={title}
      onClose={close}
      onClick={(event) => event.target === element.current && close()}
    >
      <header>
        <h2>{title}</h2>
        <button class="tool" aria-label="Close" onClick={close}>
          <Icon name="close" />
        </button>
      </header>
      <div class="content">{children}</div>
    </dialog>
  );
}

function Help() {
  const written = (key: string) =>
    key
      .replace("Mod", navigator.platform.startsWith("Mac") ? "⌘" : "Ctrl")
      .replace("Arrow", "")
      .replace("Left", "←")
      .replace("Right", "→");
  return (
    <>
      <dl class="keys">
        {commands.map(({ id, label, keys }) => (
          <div key={id}>
            <dt>
              {keys.map((key) => (
                <kbd key={key}>{written(key)}</kbd>
              ))}
            </dt>
            <dd>{label}</dd>
          </div>
        ))}
      </dl>
      <p class="hint">
        Numbers: drag, type, or use ↑ and ↓; Shift is coarse, Alt fine. Handles and keys move with the arrow keys while
        they have the focus. The wheel zooms the picture and the time line; drag beside the handles to move the picture.
      </p>
    </>
  );
}

function Text() {
  const document = current.value;
  const area = useRef<HTMLTextAreaElement>(null);
  const said = complaints.value;
  const goTo = (pointer: string) => {
    const { offset, length } = placeOf(document.text.peek(), pathOf(pointer));
    area.current?.focus();
    area.current?.setSelectionRange(offset, offset + length);
  };
  return (
    <>
      <textarea
        ref={area}
        data-first
        class="scenetext"
        aria-label="The scene as text"
        spellcheck={false}
        value={document.text.value}
        onInput={(event) => document.change("edit the text", event.currentTarget.value, "text")}
      />
      {said.length === 0 && (
        <p class="hint" role="status">
          No complaints: the scene is drawn as it stands here.
        </p>
      )}
      {said.map(({ message, pointer }) => (
        <p class="complaint" role="alert" key={message}>
          {message}{" "}
          {pointer && (
            <button class="chip" onClick={() => goTo(pointer)}>
              Show
            </button>
          )}
        </p>
      ))}
    </>
  );
}

function Conflict() {
  const done = (act: () => void) => () => {
    act();
    dialog.value = undefined;
  };
  return (
    <>
      <p>
        {served?.sceneName} was changed on disk since it was loaded here, and there are changes here that are not saved.
      </p>
      <p class="chips">
        <button class="primary" onClick={done(() => conflict.peek() && served?.take(conflict.peek()!))}>
          Take the one on disk
        </button>
        <button class="chip" onClick={done(() => void served?.keepMine())}>
          Save mine over it
        </button>
      </p>
      <p class="hint">Taking the one on disk can be undone.</p>
    </>
  );
}

export function Dialogs() {
  switch (dialog.value) {
    case "help":
      return (
        <Window title="Keys" wide>
          <Help />
        </Window>
      );
    case "presets":
      return (
        <Window title="Presets" wide>
          <Presets />
        </Window>
      );
    case "export":
      return (
        <Window title="Export">
          <ExportDialog />
        </Window>
      );
    case "text":
      return (
        <Window title="The scene as text" wide>
          <Text />
        </Window>
      );
    case "conflict":
      return (
        <Window title="The file changed on disk">
          <Conflict />
        </Window>
      );
    default:
      return null;
  }
}
