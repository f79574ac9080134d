#include "stage/loading/registration_reader.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

#include "media_files.h"
#include "orvandel/effect.h"
#include "stage/base/errors.h"

namespace orvandel::stage {
namespace {

const std::vector<std::uint8_t>& ModuleBytes() {
  static const std::vector<std::uint8_t> bytes = ReadBytes(ORVANDEL_MODULE_FILE);
  return bytes;
}

std::size_t Find(const std::vector<std::uint8_t>& bytes, std::string_view text) {
  const std::string_view whole(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const std::size_t found = whole.find(text);
  if (found == std::string_view::npos) throw std::runtime_error("the module does not contain " + std::string(text));
  return found;
}

// The directory's entry of the resource: type, id 16000, language 1033.
const std::string kEntry = ORV_REGISTRATION_TYPE "\x80\x3E\x09\x04";

TEST(RegistrationReader, ReadsTheModule) {
  const Registration registration = ReadRegistration(ORVANDEL_MODULE_FILE);
  EXPECT_EQ(registration.Text("name").value_or("").substr(0, 4), "$$$/");
  EXPECT_EQ(registration.TerminatedText("8664"), "FilterMain");
  EXPECT_EQ(registration.Word("kind"), ORV_KIND_EFFECT);
  EXPECT_TRUE(registration.Word("eVER") && registration.Word("eGLO"));
  EXPECT_FALSE(registration.Word("nope"));
  EXPECT_FALSE(registration.Word("name")) << "a text is no word";
}

// Whatever is done to the file, the reader answers or refuses with the file's name. It runs under the address checker.
TEST(RegistrationReader, SurvivesDamage) {
  const TempFolder folder;
  const auto file = folder / "damaged.so";
  int refused = 0, read = 0;
  const auto attempt = [&](const std::vector<std::uint8_t>& bytes) {
    WriteBytes(file, bytes);
    try {
      ReadRegistration(file);
      ++read;
    } catch (const WorkError& error) {
      EXPECT_NE(std::string(error.what()).find("damaged.so"), std::string::npos);
      ++refused;
    }
  };
  const std::vector<std::uint8_t>& whole = ModuleBytes();
  for (std::size_t part = 0; part < 100; ++part)
    attempt({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() * part / 100)});
  EXPECT_EQ(refused, 100) << "the section table stands at the file's end";

  std::mt19937 random(1);
  const std::size_t resource = Find(whole, kEntry);
  for (int round = 0; round < 300; ++round) {
    std::vector<std::uint8_t> bytes = whole;
    // The file's header, the resource, the section table: where the reader follows numbers.
    const std::size_t base = round % 3 == 0 ? 0 : round % 3 == 1 ? resource : whole.size() - 2048;
    const std::size_t span = round % 3 == 0 ? 64 : round % 3 == 1 ? 400 : 2048;
    for (int i = 0; i < 3; ++i) bytes[base + random() % span] = static_cast<std::uint8_t>(random());
    attempt(bytes);
  }
  EXPECT_GT(refused, 150);
  EXPECT_GT(read, 20) << "most of what was hit does not matter to the reader";
}

TEST(RegistrationReader, SaysWhatIsMissing) {
  const TempFolder folder;
  const auto reasonFor = [&](std::string_view hidden, char replacement) {
    std::vector<std::uint8_t> bytes = ModuleBytes();
    bytes[Find(bytes, hidden)] = static_cast<std::uint8_t>(replacement);
    WriteBytes(folder / "changed.so", bytes);
    try {
      ReadRegistration(folder / "changed.so");
    } catch (const WorkError& error) {
      return std::string(error.what());
    }
    return std::string("read after all");
  };
  const std::string sectionName = std::string(ORV_RESOURCE_SECTION) + '\0';
  EXPECT_NE(reasonFor(sectionName, '_').find("no registration section"), std::string::npos);
  EXPECT_NE(reasonFor(kEntry, '_').find("no registration resource"), std::string::npos);
  EXPECT_NE(reasonFor("\x7f"
                      "ELF",
                      '_')
                .find("ELF"),
            std::string::npos);
  EXPECT_THROW(ReadRegistration(folder / "absent.so"), WorkError);
}

}  // namespace
}  // namespace orvandel::stage
