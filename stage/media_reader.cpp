#include "stage/media_reader.h"

#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "stage/errors.h"
#include "stage/names.h"
#include "stage/sequence_name.h"

namespace orvandel::stage {
namespace {

constexpr std::string_view kMediaForms = "a file name or {\"file\": name, \"start\": seconds}";

// The name of a file on this machine: decoders would open more than that.
std::filesystem::path ResolvedName(const JsonPlace& place, const std::filesystem::path& folder) {
  const std::string& name = place.Text("a file name");
  if (name.empty()) place.Fail("the file name is empty");
  if (name.find('\0') != std::string::npos) place.Fail(fmt::format("{} is not a file name", place.Found()));
  if (name.find("://") != std::string::npos) {
    place.Fail(fmt::format("{} is an address; only files are read", place.Found()));
  }
  return folder / std::filesystem::path(name);
}

void MustBePlainFile(const JsonPlace& place, const std::filesystem::path& file) {
  std::error_code failure;
  const auto status = std::filesystem::status(file, failure);
  if (!std::filesystem::exists(status)) {
    const bool missing = status.type() == std::filesystem::file_type::not_found;
    place.Fail(fmt::format("{} {}", Quoted(file.string()), missing ? "does not exist" : "cannot be reached"));
  }
  if (!std::filesystem::is_regular_file(status)) place.Fail(Quoted(file.string()) + " is not a plain file");
}

std::filesystem::path ReadMediaName(const JsonPlace& place, const std::filesystem::path& folder) {
  std::filesystem::path file = ResolvedName(place, folder);
  const auto sequence = ParseSequenceName(file);
  if (!sequence) {
    MustBePlainFile(place, file);
  } else if (sequence->Existing().empty()) {
    place.Fail(fmt::format("no file is named like {}", Quoted(file.string())));
  }
  return file;
}

}  // namespace

std::filesystem::path ReadFileName(const JsonPlace& place, const std::filesystem::path& folder) {
  std::filesystem::path file = ResolvedName(place, folder);
  MustBePlainFile(place, file);
  return file;
}

Rational ReadExact(const JsonPlace& place, std::string_view allowed, bool texts) {
  if (!place.IsNumber() && !(texts && place.IsString())) place.FailNot(allowed);
  try {
    return ParseRational(place.IsString() ? place.Text(allowed) : place.Node().text);
  } catch (const InputError& error) {
    place.Fail(error.what());
  }
}

Media ReadMedia(const JsonPlace& place, std::string name, const std::filesystem::path& folder) {
  Media media;
  media.name = std::move(name);
  media.start = {0, 1};
  if (place.IsString()) {
    media.file = ReadMediaName(place, folder);
    return media;
  }
  place.MustBeObject(kMediaForms).OnlyKeys({"file", "start"});
  media.file = ReadMediaName(place.Need("file", "a file name"), folder);
  if (const auto start = place.Find("start")) media.start = ReadExact(*start, "a number of seconds", false);
  return media;
}

}  // namespace orvandel::stage
