// The page: what is open above, the picture and the panel, the time line below.
import { Panel } from "../panel/panel";
import { View } from "../picture/view";
import { bytesOf, take } from "../session/files";
import { notice, say } from "../session/state";
import { Timeline } from "../timeline/timeline";
import { Transport } from "../timeline/transport";
import { Dialogs } from "./dialogs";
import { TopBar } from "./topbar";

function Notice() {
  return (
    <p class={`notice ${notice.value?.kind ?? ""}`} role="status" hidden={!notice.value}>
      {notice.value?.text}
    </p>
  );
}

export function App() {
  const drop = async (event: DragEvent) => {
    event.preventDefault();
    try {
      await take(await bytesOf(event.dataTransfer?.files ?? []));
    } catch (error) {
      say((error as Error).message, "bad");
    }
  };
  return (
    <div class="app" onDragOver={(event) => event.preventDefault()} onDrop={drop}>
      <TopBar />
      <View />
      <Panel />
      <section class="lower" aria-label="Time">
        <Transport />
        <Timeline />
      </section>
      <Notice />
      <Dialogs />
    </div>
  );
}
