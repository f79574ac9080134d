// Shows an address in the person's browser.
#pragma once

#include <filesystem>
#include <string>

namespace orvandel::cli {

// Whether there is a display to show it on.
bool HasDisplay();

// The address goes by way of a file that only this person may read: anybody on the machine sees the words with which
// programs are started. The file goes with this object. Failures are the browser's to tell: nothing is thrown.
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
