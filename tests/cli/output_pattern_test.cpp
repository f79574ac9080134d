#include "cli/output_pattern.h"

#include <gtest/gtest.h>

#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

struct Named {
  const char* text;
  std::int32_t frame;
  const char* file;
};

TEST(OutputPattern, PutsTheNumberWhereItIsAskedFor) {
  for (const auto& [text, frame, file] : {
           Named{"out/ring.%04d.png", 7, "out/ring.0007.png"},
           Named{"ring####.png", 12345, "ring12345.png"},  // wider than asked: never cut
           Named{"%d.png", 0, "0.png"},
           Named{"takes #2/a%20/#.png", 3, "takes #2/a%20/3.png"},  // folders are taken as they are
           Named{"plain.png", 9, "plain.png"},
       }) {
    EXPECT_EQ(OutputPattern(text).For(frame), file) << text;
  }
}

TEST(OutputPattern, InsertsANumberBeforeTheExtension) {
  for (const auto& [text, frame, file] :
       {Named{"out/ring.png", 42, "out/ring.0042.png"}, Named{"a.b.PNG", 1, "a.b.0001.PNG"}}) {
    OutputPattern pattern(text);
    pattern.AddNumber();
    EXPECT_EQ(pattern.For(frame), file) << text;
  }
}

TEST(OutputPattern, RefusesWhatIsAmbiguous) {
  for (const char* text : {"%04d.####.png", "a#b#.png", "100%.png", "%5d.png", "%00d.png", "%04x.png", "%", "####/", "",
                           "..", "##########.png"}) {
    EXPECT_THROW(OutputPattern{text}, stage::InputError) << text;
  }
}

TEST(OutputPattern, ReadsTheExtensionAroundTheNumber) {
  EXPECT_EQ(OutputPattern("a.####.PNG").Extension(), ".png");
  EXPECT_EQ(OutputPattern("a.MP4").Extension(), ".mp4");
  EXPECT_EQ(OutputPattern("a.####").Extension(), "");
}

}  // namespace
}  // namespace orvandel::cli
