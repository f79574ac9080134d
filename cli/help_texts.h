// The longer parts of the help, shown below a command's options. A line "Title:" begins a section.
#pragma once

namespace orvandel::cli {

inline constexpr const char* kProgramHelp = R"(
Start here:
  orvandel presets
  orvandel new scene.json --from ripple
  orvandel studio scene.json
  orvandel sheet scene.json -o sheet.png
  orvandel render scene.json -o scene.mov
  orvandel COMMAND --help

Exit codes:
  0    done
  1    failed: the effect, the module, a file that cannot be written, memory, a frame that takes too long
  2    bad arguments or a bad scene; nothing was rendered, unless an input file proved damaged during the render
  130  interrupted (Ctrl-C, SIGTERM, SIGHUP); what stays on disk is whole
  Messages go to standard error, one line each: orvandel: error: FILE: REASON

Environment:
  ORVANDEL_MODULE  the effect's module file, in place of the one installed with the program
  ORVANDEL_SCENES  the folder of presets, in place of the one installed with the program
)";

inline constexpr const char* kRenderHelp = R"(
Frames:
  --frames takes frames and ranges separated by commas or blanks: 0,5,10-20,200-300x5 (every fifth). 10..20 is
  10-20; both ends are included. Frames are counted from 0 and rendered in the order given.
  --in and --out take times in place of frames; the frame at --out is no longer rendered.

Output:
  NAME.png        one frame; for several, .#### is inserted: NAME.0042.png
  NAME.####.png   the frame's number, as many digits as there are #; NAME.%04d.png is the same
  NAME.####.exr   for compositing: half floats in linear light, colour times alpha
  NAME.mp4        a film without alpha, at the scene's frame rate, over the background or black; its frames in
                  ascending order
  NAME.mov        a film with alpha; also .webm, .mkv, .apng and .webp (--list-formats)
                  --from-pictures makes it from existing pictures, with the scene's frame rate and sound.
                  Films carry the scene's sound, where their format can, unless --no-sound is given.
  -               raw frames on standard output: bytes red, green, blue, alpha, straight alpha, no header
  Files appear under their names only when they are complete. Existing files are kept unless --overwrite is given;
  --resume renders only the pictures that are missing, provided that the scene, its files and the settings are still
  those recorded beside the pictures; a longer duration is fine. A film cannot be resumed.

Jobs:
  --jobs N renders with N processes; the result is the same, byte for byte, for any N. Each packs and writes a picture
  while it draws the next one, on two processors; a film or a stream is encoded and written beside them. By default
  there is one for every two processors, for raw frames one for each, for every 16 frames at most, as far as memory
  reaches, and one alone where a scene shows films, which each process decodes for itself.

Late frames:
  --snapshots DIR keeps the state of the waves every 20 seconds of the scene (--snapshot-seconds), once for all renders
  of the same scene by the same program. A render that begins an hour into the scene then starts from the last state
  before that. Any number of renders may share DIR; the frames are the same with and without it. DIR holds a folder for
  each scene, which may be deleted at any time.

Progress:
  bar, lines (every two seconds), none, or json: one object a line on standard error, the events start, note, frame,
  end and, when it fails, error. --stats prints at the end how long frames waited for reading media, drawing,
  compositing, encoding and writing; json has it for every frame.

Scenes from untrusted sources:
  Media must lie in the scene's folder or below (--allow-outside). --max-waves and --max-memory refuse renders that are
  too large before they begin; --max-frame-seconds limits the time of each frame.

Examples:
  orvandel render ripple.json -o ripple.mp4 --background '#101820'
  orvandel render ripple.json -o ripple.mov
  orvandel render ripple.json -o 'out/ripple.####.png' --jobs 0 --resume
  orvandel render ripple.json -o thumbnail.png --frames 45 --downsample 4 --quality draft
  orvandel render ripple.json -o blue.png --frames 45 --set Color=#0080ff --set 'Producer Point=[200, 100]'
  orvandel render ripple.json -o ripple.mov --size 1920x1080 --fps 60 --in 1.5 --out 4 --dry-run
  orvandel render ripple.json -o - | ffplay -f rawvideo -pixel_format rgba -video_size 1280x720 -framerate 30 -
)";

inline constexpr const char* kFarmHelp = R"(
What happens:
  The frames are divided into chunks, an array of Slurm tasks that each run orvandel render --resume and try again when
  it fails. Then a join checks every picture, makes the film if one is wanted, and writes a report. When --output is a
  film, the pictures stay in the farm's folder. The program, the scene and the output must have the same paths on all
  machines. docs/farm.md walks through a first render.
  --dry-run prints the scripts; with --no-submit they can be run with GNU parallel on one machine, or by another queue.
  Pictures of the same scene and settings are kept, so that a longer scene renders only its new frames.

Examples:
  orvandel farm ripple.json -o 'out/ripple.####.png' --wait
  orvandel farm ripple.json -o ripple.mov --chunk 50 --partition render --at-once 20
  orvandel farm ripple.json -o 'out/ripple.####.png' --film out/ripple.mp4 --sbatch=--time=2:00:00
  orvandel farm ripple.json -o ripple.mov --no-submit
  orvandel farm status out/ripple.farm
  orvandel farm resume out/ripple.farm --wait
)";

inline constexpr const char* kFarmStatusHelp = R"(
Example:
  orvandel farm status out/ripple.farm
)";

inline constexpr const char* kFarmResumeHelp = R"(
What is rendered:
  The chunks with pictures that are missing, or that the join found damaged. Nothing while the job is still in the queue,
  unless --restart cancels it.

Example:
  orvandel farm resume out/ripple.farm --wait
)";

inline constexpr const char* kFarmJoinHelp = R"(
What is written:
  report.txt, report.json, and frames.tsv with a hash of every picture's pixels, in the farm's folder; the film. Exit
  code 1 when a picture is missing or damaged, or the film could not be made.

Example:
  orvandel farm join out/ripple.farm
)";

inline constexpr const char* kParamsHelp = R"(
Examples:
  orvandel params
  orvandel params ripple.json --time 1.5
  orvandel params --json | jq '.[].name'
)";

inline constexpr const char* kCheckHelp = R"(
What is checked:
  errors    everything that would be refused, each with its JSON pointer; exit code 2
  warnings  many waves alive at once; frames that are each simulated from the start; durations near the frame rate's
            limit; unreadable layers that nothing uses; sizes that cannot be written; more than three general flashes
            a second over a 36th of the picture, found by rendering small drafts (up to 60 s)
  notes     the numbers behind them, with the memory and the time that a frame takes

As JSON:
  {"format": 1, "ok", "errors": [{"pointer", "message", "allowed", "nearest"}], "warnings", "notes", "estimates":
  {"frames", "waves", "memoryBytes", "costliestFrame", "costliestFrameSeconds"}}; what is not known is left out.

Examples:
  orvandel check ripple.json
  orvandel check ripple.json --quick --json
)";

inline constexpr const char* kDescribeHelp = R"(
What is reported:
  The waves alive (age, centre, radius, turn, stroke, opacity, colour) as the effect reports them while it renders the
  frame. What is covered, where, and the mean colour are measured in the picture. The frame is the one that stands at
  the time.

Examples:
  orvandel describe ripple.json --time 2
  orvandel describe ripple.json --time 2 --json | jq '.effects[0].alive'
)";

inline constexpr const char* kWavesHelp = R"(
What is printed:
  One JSON object a line for every wave alive in a frame, the oldest first, as the effect reports it: frame, seconds,
  effect (from 1) and wave (from 0), waveType, age and lifespan in seconds, centre, size (from the centre to the
  farthest point), angle in degrees, strokeWidth, profile, opacity (fades included), color, and the outline's points.
  Places are pixels of the full-size picture from its top left corner.

What is drawn with --svg:
  Every outline as a path with its stroke along the inside, its colour and its opacity; a profile across the stroke is
  a mask; with Reflection, mirrored copies. Open it in any vector program.

Examples:
  orvandel waves ripple.json --frames 0-90x30 --no-outlines | jq '[.frame, .size]'
  orvandel waves ripple.json --frames 45 --svg ripple.svg
)";

inline constexpr const char* kSheetHelp = R"(
Examples:
  orvandel sheet ripple.json -o sheet.png
  orvandel sheet ripple.json -o sheet.png --frames 0-150x10 --columns 5 --scale 8 --background '#ffffff'
)";

inline constexpr const char* kNewHelp = R"(
What is created:
  A commented scene to start from, or a copy of a preset with the media that it names. Nothing is replaced.

Examples:
  orvandel new scene.json
  orvandel new logo/scene.json --from logo_contour
)";

inline constexpr const char* kPresetsHelp = R"(
Examples:
  orvandel presets
  orvandel new mine.json --from sonar
)";

inline constexpr const char* kStudioHelp = R"(
What it does:
  Prints the page's address and serves it until Ctrl-C, to browsers on this machine only; requests that do not
  come with that address are refused. The page shows the scene while you change it and saves it to its file; a change that another
  program makes to the file shows at once, and is not overwritten without asking. The page sees the pictures, sounds and
  films in the scene's folder and below, and copies there what you drop on it; it can open no other file.
  Without SCENE, the page keeps its scenes in the browser.

Examples:
  orvandel new mine.json --from ripple && orvandel studio mine.json
  orvandel studio mine.json --port 8080 --no-browser
)";

inline constexpr const char* kSchemaHelp = R"(
Example:
  orvandel schema > scene.schema.json
)";

inline constexpr const char* kAboutHelp = R"(
Example:
  orvandel about --module build/debug/lib/orvandel/orvandel.so
)";

inline constexpr const char* kCompletionsHelp = R"(
Examples:
  source <(orvandel completions bash)
  orvandel completions zsh > ~/.zfunc/_orvandel
  orvandel completions fish > ~/.config/fish/completions/orvandel.fish
)";

inline constexpr const char* kManHelp = R"(
Example:
  orvandel man | man -l -
)";

}  // namespace orvandel::cli
