// A list of file names, one in each line.
#include <dravix/bio.h>

#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {

FUZZ_TARGET(name_list, input) {
  const std::string text = Text(input.Rest());
  std::vector<std::string> names{"before"};
  Require(BIO::ReadFullNameListTxt(ScratchFile("names.txt", input.Rest()), names),
          "a file that is there is read");
  Require(names.front() == "before", "names are appended");
  std::string joined;
  for (std::size_t i = 1; i < names.size(); ++i) {
    Require(names[i].find('\n') == std::string::npos, "a name is one line");
    joined += names[i] + '\n';
  }
#ifndef _WIN32  // where a line may end in two characters
  Require(joined == text || joined == text + '\n', "the names are the lines of the text");
#endif
}

}  // namespace dravix::fuzz
