#include "cli/arguments.h"

#include <algorithm>

#include "cli/help_texts.h"
#include "stage/films/film_out.h"

namespace orvandel::cli {
namespace {

constexpr int kMostJobs = 256;

void AddModuleOption(CLI::App& command, std::filesystem::path& module) {
  command.add_option("--module", module, "The effect's module file; default: the one installed with the program")
      ->type_name("FILE");
}

CLI::Option* AddScene(CLI::App& command, SceneRequest& request,
                      const char* help = "Scene file (JSON), or - for standard input") {
  CLI::Option* scene = command.add_option("scene", request.file, help)->type_name("SCENE");
  command
      .add_option(
          "--set", request.options.sets,
          "Set a parameter in place of the scene's value; repeatable. 2:NAME=VALUE sets it for the second effect "
          "only")
      ->allow_extra_args(false)
      ->type_name("NAME=VALUE");
  command.add_option("--size", request.options.size, "Width and height in place of the scene's; places stay in pixels")
      ->type_name("WxH");
  command.add_option("--fps", request.options.frameRate, "Frame rate in place of the scene's: 25, 30000/1001")
      ->type_name("R");
  command.add_option("--duration", request.options.duration, "Duration in place of the scene's, in seconds")
      ->type_name("S");
  command.add_flag("--allow-outside", request.options.allowOutside, "Allow media outside the scene's folder");
  AddModuleOption(command, request.module);
  return scene;
}

void AddFrames(CLI::App& command, FrameChoice& frames, const char* help) {
  CLI::Option* list = command.add_option("-F,--frames", frames.list, help)->type_name("LIST");
  command.add_option("--in", frames.in, "Only frames from this time of the scene on, in seconds")
      ->excludes(list)
      ->type_name("S");
  command.add_option("--out", frames.out, "Only frames before this time of the scene, in seconds")
      ->excludes(list)
      ->type_name("S");
}

void AddWaveLimit(CLI::App& command, SceneRequest& request) {
  command.add_option("--max-waves", request.maxWaves, "Refuse frames that need more waves at once")
      ->check(CLI::Range(std::int64_t{1}, std::int64_t{1} << 22))
      ->type_name("N")
      ->default_val(request.maxWaves);
}

void AddBackground(CLI::App& command, std::string& background) {
  command
      .add_option("--background", background,
                  "Behind every frame, in place of the scene's: a colour (#rrggbb), a picture, a numbered sequence or "
                  "a film, stretched to the scene's size; input; none")
      ->type_name("FILE");
}

void AddPicture(CLI::App& command, Requests& requests) {
  RenderRequest& request = requests.render;
  command.add_option("--quality", requests.quality, "full, or draft: one sample a pixel and coarser curves")
      ->check(CLI::IsMember({"full", "draft"}))
      ->default_val("full");
  command.add_option("--downsample", request.downsample, "Render at 1/K of the size, in both directions")
      ->check(CLI::Range(1, 30000))
      ->type_name("K")
      ->default_val(1);
  command.add_option("--depth", request.depth, "Bits per channel of .png pictures")
      ->check(CLI::IsMember({8, 16}))
      ->default_val(8);
  command
      .add_option(
          "--png-size", requests.pngSize,
          "How .png files are packed: fast writes larger ones sooner, and equal pictures may differ in packed bytes")
      ->check(CLI::IsMember({"fast", "default", "small"}))
      ->default_val("default");
  std::vector<std::string> codecs;
  for (const stage::FilmKind& kind : stage::FilmKinds()) codecs.push_back(kind.name);
  command.add_option("--codec", request.codec, "Codec of a film, where its extension has several (--list-formats)")
      ->check(CLI::IsMember(codecs));
  AddBackground(command, request.background);
  command
      .add_option("--film-quality", request.filmQuality, "Quality of a lossy film; medium and low give smaller files")
      ->check(CLI::IsMember({"high", "medium", "low"}))
      ->default_val("high");
  command.add_flag("--no-sound", request.noSound, "A film without the scene's sound");
}

// Processes, memory and time.
void AddLimits(CLI::App& command, RenderRequest& request) {
  command
      .add_option("-j,--jobs", request.jobs,
                  "Render with N processes; 0: one per processor; default: one per two processors, for raw frames one "
                  "each, on a farm one")
      ->check(CLI::Range(0, kMostJobs))
      ->type_name("N");
  command
      .add_option("--max-memory", request.maxMemory, "Refuse renders that need more memory: 8G; default: the machine's")
      ->transform(CLI::AsSizeValue(false))
      ->type_name("BYTES");
  command
      .add_option("--max-frame-seconds", request.maxFrameSeconds, "Fail when a single frame takes longer; 0: no limit")
      ->check(CLI::Range(0.0, 1e9))
      ->type_name("S");
  CLI::Option* snapshots =
      command
          .add_option("--snapshots", request.snapshots,
                      "Keep states of the waves in this folder, for renders that begin late in the scene")
          ->type_name("DIR");
  command.add_option("--snapshot-seconds", request.snapshotSeconds, "Seconds of the scene from one state to the next")
      ->needs(snapshots)
      ->check(CLI::Range(1, 86400))
      ->type_name("S")
      ->default_val(request.snapshotSeconds);
  AddWaveLimit(command, request.scene);
}

void AddWork(CLI::App& command, Requests& requests) {
  RenderRequest& request = requests.render;
  command.add_flag("--dry-run", request.dryRun, "Say what would be rendered, and render nothing");
  CLI::Option* overwrite = command.add_flag("--overwrite", requests.overwrite, "Replace files that exist");
  command.add_flag("--resume", requests.resume, "Keep pictures that exist, render those that are missing")
      ->excludes(overwrite);
  CLI::Option* progress = command
                              .add_option("--progress", requests.progress,
                                          "How to show progress; auto: a bar on a terminal, lines elsewhere")
                              ->check(CLI::IsMember({"auto", "bar", "lines", "json", "none"}))
                              ->default_val("auto");
  command.add_flag("--stats", request.stats,
                   "Say at the end what reading, drawing, compositing, encoding and writing took");
  command.add_flag("-q,--quiet", requests.quiet, "Print neither progress nor summary")->excludes(progress);
}

void AddRender(CLI::App& app, Requests& requests) {
  RenderRequest& request = requests.render;
  CLI::App& command = *app.add_subcommand("render", "Render frames of a scene into pictures, a film or a pipe");
  CLI::Option* scene = AddScene(command, request.scene)->required();
  CLI::Option* output =
      command.add_option("-o,--output", request.output, "Picture, numbered pictures, film or -; see below")
          ->required()
          ->type_name("NAME");
  AddFrames(command, request.frames, "Frames to render; default: all");
  AddPicture(command, requests);
  command
      .add_option("--from-pictures", request.fromPictures,
                  "Make the film from numbered pictures that exist already: NAME.####.png")
      ->type_name("NAME");
  AddLimits(command, requests.render);
  AddWork(command, requests);
  // It needs neither scene nor output, which the parser otherwise asks for first.
  command
      .add_flag_callback(
          "--list-formats",
          [&requests, scene, output] {
            requests.listFormats = true;
            scene->required(false);
            output->required(false);
          },
          "List the outputs that can be written")
      ->trigger_on_parse();
  command.footer(kRenderHelp);
}

void AddFarmFolder(CLI::App& command, FarmFolderRequest& request) {
  command.add_option("folder", request.folder, "The folder that orvandel farm printed, NAME.farm")
      ->required()
      ->type_name("FOLDER");
}

void AddFarmSteps(CLI::App& farm, Requests& requests) {
  CLI::App& status = *farm.add_subcommand("status", "Show how far a farm's render has come");
  AddFarmFolder(status, requests.farmFolder);
  status.add_flag("--json", requests.farmFolder.asJson, "As JSON");
  status.footer(kFarmStatusHelp);
  CLI::App& resume = *farm.add_subcommand("resume", "Render what is missing, and join");
  AddFarmFolder(resume, requests.farmFolder);
  resume.add_flag("--restart", requests.farmFolder.restart, "Cancel what is still in the queue, and begin again");
  CLI::Option* noSubmit = resume.add_flag("--no-submit", requests.farmFolder.noSubmit,
                                          "Print the command for GNU parallel, submit nothing");
  resume.add_flag("--wait", requests.farmFolder.wait, "Wait for the end; Ctrl-C cancels the job")->excludes(noSubmit);
  resume.footer(kFarmResumeHelp);
  CLI::App& join = *farm.add_subcommand("join", "Check the pictures here and now, and make the film");
  AddFarmFolder(join, requests.farmFolder);
  join.footer(kFarmJoinHelp);
}

void AddFarmWork(CLI::App& command, Requests& requests) {
  FarmRequest& request = requests.farm;
  command.add_option("--chunk", request.chunk, "Frames per task, or auto: from the time that a few frames take here")
      ->type_name("N")
      ->default_val("auto");
  command.add_option("--film", request.film, "A film to make from the pictures at the end")->type_name("NAME");
  command.add_option("--folder", request.folder, "For scripts, logs and reports; default: NAME.farm beside the output")
      ->type_name("FOLDER");
  command.add_option("--partition", request.partition, "The Slurm partition to render on")->type_name("NAME");
  command.add_option("--at-once", request.atOnce, "At most this many tasks at once; 0: no limit")
      ->check(CLI::Range(0, 1000000))
      ->type_name("N")
      ->default_val(0);
  command.add_option("--tries", request.tries, "How often a task tries its chunk before it fails")
      ->check(CLI::Range(1, 100))
      ->type_name("N")
      ->default_val(3);
  command.add_option("--sbatch", request.sbatch, "A further option for sbatch; repeatable: --sbatch=--time=2:00:00")
      ->allow_extra_args(false)
      ->type_name("OPTION");
  command.add_flag("--overwrite", requests.overwrite,
                   "Replace a film that exists; pictures of the same scene are always kept");
  CLI::Option* dryRun =
      command.add_flag("--dry-run", request.dryRun, "Print the scripts and commands, write and submit nothing");
  CLI::Option* noSubmit =
      command.add_flag("--no-submit", request.noSubmit, "Write the scripts and print the command for GNU parallel")
          ->excludes(dryRun);
  command.add_flag("--wait", request.wait, "Wait for the end; Ctrl-C cancels the job")
      ->excludes(dryRun)
      ->excludes(noSubmit);
}

void AddFarm(CLI::App& app, Requests& requests) {
  CLI::App& command = *app.add_subcommand("farm", "Render a scene in chunks on the machines of a Slurm farm");
  // The parser is not told that it is required: it would then take the name of a step for the scene.
  AddScene(command, requests.render.scene, "Scene file (JSON)");
  CLI::Option* output = command.add_option("-o,--output", requests.render.output, "Numbered .png pictures, or a film")
                            ->required()
                            ->type_name("NAME");
  AddFrames(command, requests.render.frames, "Frames to render; default: all");
  AddFarmWork(command, requests);
  AddPicture(command, requests);
  AddLimits(command, requests.render);
  AddFarmSteps(command, requests);
  for (CLI::App* step : command.get_subcommands(nullptr)) {
    step->preparse_callback([output](std::size_t) { output->required(false); });
  }
  command.require_subcommand(0, 1);
  command.footer(kFarmHelp);
}

CLI::Option* AddTime(CLI::App& command, double& seconds, const char* help) {
  return command.add_option("--time", seconds, help)->check(CLI::Range(0.0, 1e6))->type_name("T");
}

void AddParams(CLI::App& app, ParamsRequest& request) {
  CLI::App& command = *app.add_subcommand("params", "List the effect's parameters, and their values in a scene");
  CLI::Option* scene = AddScene(command, request.scene, "Show the values that this scene sets");
  AddTime(command, request.seconds, "At this time of the scene, in seconds; default 0")->needs(scene);
  for (const char* override : {"--set", "--size", "--fps", "--duration"}) command.get_option(override)->needs(scene);
  CLI::Option* json = command.add_flag("--json", request.asJson, "As JSON");
  command
      .add_flag("--assignments", request.asAssignments,
                "Everything that --set can begin with, one a line: NAME=, and NAME=CHOICE where there are choices")
      ->excludes(json);
  command.footer(kParamsHelp);
}

void AddCheck(CLI::App& app, CheckRequest& request) {
  CLI::App& command = *app.add_subcommand("check", "Report every mistake in a scene, and what rendering it costs");
  AddScene(command, request.scene)->required();
  command.add_flag("--quick", request.quick, "Do not render: no check for flashes, no timing");
  command.add_flag("--json", request.asJson, "As JSON");
  AddWaveLimit(command, request.scene);
  command.footer(kCheckHelp);
}

void AddDescribe(CLI::App& app, DescribeRequest& request) {
  CLI::App& command = *app.add_subcommand("describe", "Describe in words what a frame of a scene shows");
  AddScene(command, request.scene)->required();
  AddTime(command, request.seconds, "The time of the frame, in seconds; default 0");
  command.add_flag("--json", request.asJson, "As JSON");
  AddWaveLimit(command, request.scene);
  command.footer(kDescribeHelp);
}

void AddWaves(CLI::App& app, WavesRequest& request) {
  CLI::App& command = *app.add_subcommand("waves", "Print the waves of frames as JSON lines, or draw them as SVG");
  AddScene(command, request.scene)->required();
  AddFrames(command, request.frames, "Frames to list; default: all");
  CLI::Option* svg =
      command.add_option("--svg", request.svg, "Vector outlines with their strokes, a file a frame: NAME.####.svg")
          ->type_name("NAME");
  command.add_flag("--overwrite", request.replace, "Replace files that exist")->needs(svg);
  command.add_flag("--no-outlines", request.noOutlines, "JSON lines without the outlines' points")->excludes(svg);
  AddWaveLimit(command, request.scene);
  command.footer(kWavesHelp);
}

void AddSheet(CLI::App& app, SheetRequest& request) {
  CLI::App& command = *app.add_subcommand("sheet", "Draw a contact sheet: frames of a scene with their numbers");
  AddScene(command, request.scene)->required();
  command.add_option("-o,--output", request.output, "The sheet, a .png picture")->required()->type_name("NAME");
  AddFrames(command, request.frames, "Frames to show; default: twelve, spread over the scene");
  command.add_option("--columns", request.columns, "Frames per row")
      ->check(CLI::Range(1, 1000))
      ->type_name("N")
      ->default_val(4);
  command.add_option("--scale", request.downsample, "Frames at 1/K of their size; default: at most 320 pixels wide")
      ->check(CLI::Range(1, 30000))
      ->type_name("K");
  AddBackground(command, request.background);
  command.add_flag("--overwrite", request.replace, "Replace a file that exists");
  AddWaveLimit(command, request.scene);
  command.footer(kSheetHelp);
}

void AddNew(CLI::App& app, Requests& requests) {
  CLI::App& command = *app.add_subcommand("new", "Make a scene to start from");
  command.add_option("scene", requests.newScene.file, "The file to make")->required()->type_name("SCENE");
  command.add_option("--from", requests.newScene.preset, "A copy of this preset, with its media")->type_name("PRESET");
  command.footer(kNewHelp);
  CLI::App& presets = *app.add_subcommand("presets", "List the scenes that come with the program");
  presets.add_flag("--json", requests.presetsAsJson, "As JSON, with their files");
  presets.footer(kPresetsHelp);
}

void AddStudio(CLI::App& app, StudioRequest& request) {
  CLI::App& command = *app.add_subcommand("studio", "Make and change scenes in a browser page");
  command.add_option("scene", request.scene, "Scene file (JSON) that the page opens and saves")->type_name("SCENE");
  command.add_option("--port", request.port, "Serve the page on this port; default: any that is free")
      ->check(CLI::Range(1, 65535))
      ->type_name("N");
  command.add_flag("--no-browser", request.noBrowser, "Print the address, and open no browser");
  command.footer(kStudioHelp);
}

void AddAbout(CLI::App& app, Requests& requests) {
  CLI::App& about = *app.add_subcommand("about", "Show what the effect's module reports about itself");
  AddModuleOption(about, requests.about.module);
  about.footer(kAboutHelp);
  CLI::App& schema = *app.add_subcommand("schema", "Print the JSON Schema of scene files, for editors");
  AddModuleOption(schema, requests.schema.module);
  schema.footer(kSchemaHelp);
  CLI::App& completions = *app.add_subcommand("completions", "Print a completion script for a shell");
  completions.add_option("shell", requests.shell, "The shell")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  completions.footer(kCompletionsHelp);
  app.add_subcommand("man", "Print the manual page")->footer(kManHelp);
}

// The parser has choices as a part of the type: "TEXT:{full,draft}".
std::vector<std::string> ChoicesIn(const std::string& typeName) {
  std::vector<std::string> choices;
  const auto open = typeName.find('{');
  if (open == std::string::npos) return choices;
  const std::string inside = typeName.substr(open + 1, typeName.find('}') - open - 1);
  for (std::size_t begin = 0; begin <= inside.size();) {
    const std::size_t end = std::min(inside.find(',', begin), inside.size());
    choices.push_back(inside.substr(begin, end - begin));
    begin = end + 1;
  }
  return choices;
}

OptionHelp HelpOf(const CLI::Option& option) {
  OptionHelp help;
  for (const std::string& name : option.get_snames()) help.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) help.names.push_back("--" + name);
  help.positional = help.names.empty();
  help.required = option.get_required();
  help.help = option.get_description();
  help.defaultText = option.get_default_str();
  if (option.get_items_expected_max() > 0) {
    const std::string type = option.get_type_name();
    help.choices = ChoicesIn(type);
    help.value = type.substr(0, type.find(':'));
  }
  if (help.positional) {
    help.names.push_back(option.get_name());
    if (!help.choices.empty()) help.value = "SHELL";
  }
  return help;
}

}  // namespace

void AddCommands(CLI::App& app, Requests& requests) {
  app.footer(kProgramHelp);
  AddRender(app, requests);
  AddFarm(app, requests);
  AddSheet(app, requests.sheet);
  AddCheck(app, requests.check);
  AddDescribe(app, requests.describe);
  AddWaves(app, requests.waves);
  AddParams(app, requests.params);
  AddNew(app, requests);
  AddStudio(app, requests.studio);
  AddAbout(app, requests);
}

void ResolveWords(Requests& requests) {
  static const std::map<std::string, ProgressKind> kinds{{"auto", ProgressKind::kFromTerminal},
                                                         {"bar", ProgressKind::kBar},
                                                         {"lines", ProgressKind::kLines},
                                                         {"json", ProgressKind::kJson},
                                                         {"none", ProgressKind::kNone}};
  RenderRequest& render = requests.render;
  render.highQuality = requests.quality == "full";
  if (requests.pngSize == "fast") render.pngEffort = stage::PngEffort::kFast;
  if (requests.pngSize == "small") render.pngEffort = stage::PngEffort::kSmall;
  render.progress = requests.quiet ? ProgressKind::kQuiet : kinds.at(requests.progress);
  if (requests.overwrite) render.existing = Existing::kReplace;
  if (requests.resume) render.existing = Existing::kKeep;
  requests.farm.render = render;
}

CommandHelp TreeOf(const CLI::App& app) {
  CommandHelp tree{app.get_name(), app.get_description(), {}, app.get_footer(), {}};
  for (const CLI::Option* option : app.get_options()) tree.options.push_back(HelpOf(*option));
  for (const CLI::App* command : app.get_subcommands(nullptr)) tree.commands.push_back(TreeOf(*command));
  return tree;
}

}  // namespace orvandel::cli
