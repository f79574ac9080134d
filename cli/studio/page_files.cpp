#include "cli/studio/page_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <utility>

// Made during the build: names and bytes in turn, ended by nulls.
struct OrvandelPageFile {
  const char* name;
  const char* begin;
  const char* end;
};
extern "C" const OrvandelPageFile orvandelPageFiles[];

namespace orvandel::cli {
namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 38> kContentTypes{{
    {"html", "text/html; charset=utf-8"},
    {"js", "text/javascript; charset=utf-8"},
    {"mjs", "text/javascript; charset=utf-8"},
    {"css", "text/css; charset=utf-8"},
    {"json", "application/json; charset=utf-8"},
    {"webmanifest", "application/manifest+json"},
    {"wasm", "application/wasm"},
    {"txt", "text/plain; charset=utf-8"},
    {"woff2", "font/woff2"},
    {"ico", "image/x-icon"},
    {"png", "image/png"},
    {"apng", "image/apng"},
    {"jpg", "image/jpeg"},
    {"jpeg", "image/jpeg"},
    {"svg", "image/svg+xml"},
    {"webp", "image/webp"},
    {"gif", "image/gif"},
    {"bmp", "image/bmp"},
    {"tif", "image/tiff"},
    {"tiff", "image/tiff"},
    {"exr", "image/x-exr"},
    {"wav", "audio/wav"},
    {"flac", "audio/flac"},
    {"ogg", "audio/ogg"},
    {"oga", "audio/ogg"},
    {"opus", "audio/ogg"},
    {"mp3", "audio/mpeg"},
    {"m4a", "audio/mp4"},
    {"aac", "audio/aac"},
    {"aif", "audio/aiff"},
    {"aiff", "audio/aiff"},
    {"mp4", "video/mp4"},
    {"m4v", "video/mp4"},
    {"mov", "video/quicktime"},
    {"webm", "video/webm"},
    {"mkv", "video/x-matroska"},
    {"avi", "video/x-msvideo"},
    {"mpg", "video/mpeg"},
}};

std::string AsAttribute(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '&' || c == '"' || c == '<' || c == '>') {
      result += fmt::format("&#{};", static_cast<int>(c));
    } else {
      result += c;
    }
  }
  return result;
}

}  // namespace

bool HasPage() { return PageFile("").has_value(); }

std::optional<std::string_view> PageFile(std::string_view path) {
  if (path.empty()) path = "index.html";
  for (const OrvandelPageFile* file = orvandelPageFiles; file->name != nullptr; ++file) {
    if (path == file->name) return std::string_view(file->begin, static_cast<std::size_t>(file->end - file->begin));
  }
  return std::nullopt;
}

std::string_view ContentTypeOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return {};
  std::string ending(name.substr(dot + 1));
  std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
  for (const auto& [known, type] : kContentTypes) {
    if (known == ending) return type;
  }
  return {};
}

std::string ServedIndex(std::string_view index, const std::string& sceneName) {
  std::string element =
      fmt::format(R"(<meta name="orvandel-server" content="api/" data-version="{}")", ORVANDEL_VERSION);
  if (!sceneName.empty()) element += fmt::format(R"( data-scene="{}")", AsAttribute(sceneName));
  std::string text(index);
  const std::size_t head = text.find("<head>");
  return head == std::string::npos ? text : text.insert(head + 6, element + ">");
}

}  // namespace orvandel::cli
