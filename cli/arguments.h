// The command line as requests, and as a tree for the manual page and the completions. Only this,
// argument_errors and main.cpp know the argument parser.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>

#include "cli/command_tree.h"
#include "cli/requests.h"

namespace orvandel::cli {

// All that the arguments can set; the command that was named decides which part is used.
struct Requests {
  RenderRequest render;
  FarmRequest farm;
  FarmFolderRequest farmFolder;
  ParamsRequest params;
  CheckRequest check;
  DescribeRequest describe;
  WavesRequest waves;
  SheetRequest sheet;
  NewRequest newScene;
  StudioRequest studio;
  AboutRequest about, schema;
  std::string quality = "full", pngSize = "default", shell;
  std::string progress = "auto";
  bool overwrite = false, resume = false, quiet = false;  // of render
  bool listFormats = false;
  bool presetsAsJson = false;
};

// `requests` must outlive the parsing.
void AddCommands(CLI::App& app, Requests& requests);

// Turns words into values, once the arguments have been parsed.
void ResolveWords(Requests& requests);

CommandHelp TreeOf(const CLI::App& app);

}  // namespace orvandel::cli
