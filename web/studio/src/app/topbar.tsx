// Scenes that are open, and what is done with them.
import { close, dialog, show, theme } from "../session/state";
import { current, documents } from "../document/open";
import { Icon } from "../panel/icons";
import { command } from "./commands";

function Do({ id, text, icon, title }: { id: string; text?: string; icon?: string; title?: string }) {
  const { label, keys, run } = command(id);
  return (
    <button
      class={text ? "chip" : "tool"}
      aria-label={text ? undefined : label}
      title={`${title ?? label} (${keys[0]!.replace("Mod", "Ctrl")})`}
      onClick={run}
    >
      {icon && <Icon name={icon} />}
      {text}
    </button>
  );
}

function Scenes() {
  return (
    <div class="scenes" role="group" aria-label="Open scenes">
      {documents.value.map((each) => (
        <span key={each.id} class={each === current.value ? "scene chosen" : "scene"}>
          <button aria-pressed={each === current.value} onClick={() => show(each)}>
            {each.name.value}
            {each.changed.value && (
              <span class="changed" title="Not saved to a file">
                {" "}
                •
              </span>
            )}
          </button>
          {documents.value.length > 1 && (
            <button class="small" aria-label={`Close ${each.name.value}`} onClick={() => close(each)}>
              <Icon name="close" />
            </button>
          )}
        </span>
      ))}
    </div>
  );
}

export function TopBar() {
  const { undoLabel, redoLabel, name } = current.value;
  const undo = command("undo");
  const redo = command("redo");
  return (
    <header class="topbar">
      <h1>Orvandel</h1>
      <nav class="cluster" aria-label="Scene">
        <Do id="new" text="New" />
        <Do id="open" text="Open" />
        <Do id="presets" text="Presets" />
        <Do id="save" text="Save" />
        <Do id="export" text="Export" />
      </nav>
      <span class="cluster">
        <button
          class="tool"
          aria-label="Undo"
          title={`Undo${undoLabel.value ? `: ${undoLabel.value}` : ""} (Ctrl+Z)`}
          disabled={!undoLabel.value}
          onClick={undo.run}
        >
          <Icon name="undo" />
        </button>
        <button
          class="tool"
          aria-label="Redo"
          title={`Redo${redoLabel.value ? `: ${redoLabel.value}` : ""} (Ctrl+Shift+Z)`}
          disabled={!redoLabel.value}
          onClick={redo.run}
        >
          <Icon name="redo" />
        </button>
        <Do id="surprise" text="Surprise me" icon="dice" />
      </span>
      <Scenes />
      <span class="cluster end">
        <input
          type="text"
          class="scenename"
          aria-label="Name of the scene file"
          value={name.value}
          disabled={current.value.tag !== undefined}
          spellcheck={false}
          onChange={(event) => (name.value = event.currentTarget.value.trim() || name.peek())}
        />
        <Do id="link" text="Link" />
        <Do id="text" text="Text" />
        <button
          class="tool"
          aria-label={theme.value === "dark" ? "Light colours" : "Dark colours"}
          onClick={command("theme").run}
        >
          <Icon name="sun" />
        </button>
        <button class="tool" aria-label="Help and keys" title="Keys (?)" onClick={() => (dialog.value = "help")}>
          ?
        </button>
      </span>
    </header>
  );
}
