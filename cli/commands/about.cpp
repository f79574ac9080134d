// `orvandel about`: how the effect identifies itself.
#include <fmt/format.h>

#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/module_file.h"
#include "stage/module/effect_module.h"

namespace orvandel::cli {
namespace {

// A four-character code as text: 'eFKT'. Bytes that are no letters show as dots.
std::string CodeText(std::uint32_t code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const auto byte = static_cast<char>((code >> shift) & 0xffu);
    text += byte > ' ' && byte <= '~' ? byte : '.';
  }
  return text;
}

std::string Indented(const std::string& text) {
  std::string indented;
  for (const char c : text) {
    indented += c;
    if (c == '\n') indented += "  ";
  }
  return indented;
}

}  // namespace

void About(const AboutRequest& request) {
  const auto file = ModuleFile(request.module);
  stage::EffectModule module(stage::LoadEffect(file));
  const stage::Identity& identity = module.GetIdentity();
  Print("module          {}\n", file.string());
  Print("name            {}\n", identity.name);
  Print("match name      {}\n", identity.matchName);
  Print("category        {}\n", identity.category);
  Print("entry point     {}\n", identity.entryPoint);
  Print("kind            {}\n", CodeText(identity.kind));
  Print("host interface  {}.{}\n", identity.interfaceMajor, identity.interfaceMinor);
  Print("version         {:#010x}\n", identity.effectVersion);
  Print("flags           {:#x}, {:#x}; registered with {:#x}\n", identity.outFlags, identity.outFlags2, identity.flags);
  Print("about\n  {}\n", Indented(identity.about));
  for (const std::string& complaint : module.Complaints()) Print("complaint       {}\n", complaint);
  module.SetDown();
}

}  // namespace orvandel::cli
