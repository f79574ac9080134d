// Whose requests the studio's server answers: those of the page that it serves itself, and no others.
//
// Every program and every other person on the machine can reach a port of it, and every page that the browser shows can
// send requests there. So (1) all paths lie below a random word, which only the printed address contains; (2) the Host
// is the machine's own by name or number, or another site's name could be made to lead here; (3) a request that another
// site's page caused is refused by its Origin and by what the browser says of where it comes from.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvandel::cli {

// 128 bits in hexadecimal digits.
std::string RandomWord();

struct AskedBy {
  std::string path;                // decoded
  std::vector<std::string> hosts;  // every value of the header, as all of these
  std::vector<std::string> origins;
  std::string fetchSite;  // Sec-Fetch-Site; empty where a client sends none
};

class Gate {
 public:
  Gate(std::string word, int port);

  // "http://127.0.0.1:PORT/WORD/".
  std::string Address() const;
  // The path below the random word; none: refused.
  std::optional<std::string> Inside(const AskedBy& request) const;

 private:
  std::string word_;
  std::vector<std::string> hosts_;
};

}  // namespace orvandel::cli
