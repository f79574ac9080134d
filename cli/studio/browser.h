// Shows an address in the person's browser.
#pragma once

#include <filesystem>
#include <string>

namespace orvandel::cli {

// Whether there is a display to show it on.
bool HasDisplay();

// The address is passed in a file that only this person may read, because everybody on the machine can see a program's
// arguments. The file is removed with this object. Failures are left for the browser to report: nothing is thrown.
class BrowserStart {
 public:
  explicit BrowserStart(const std::string& address);
  ~BrowserStart();
  BrowserStart(const BrowserStart&) = delete;
  BrowserStart& operator=(const BrowserStart&) = delete;

 private:
  std::filesystem::path file_;
};

}  // namespace orvandel::cli
