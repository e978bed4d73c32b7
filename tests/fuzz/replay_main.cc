// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target on files and folders of files, where no fuzzer is at hand:
//
//   fuzz_tokens tests/fuzz/seeds/tokens crash-1234
//
// A file that breaks the target ends the program as it would the fuzzer; its name was printed before. A folder that does not
// exist holds nothing.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/fuzz/bytes.h"

int main(int count, char** arguments) {
  namespace fs = std::filesystem;
  int run = 0;
  const auto replay = [&](const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    std::fprintf(stderr, "%s\n", file.string().c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++run;
  };
  for (int k = 1; k < count; ++k) {
    const fs::path path = arguments[k];
    if (!fs::is_directory(path)) {
      if (fs::exists(path)) replay(path);
      continue;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) replay(entry.path());
  }
  std::printf("%d inputs\n", run);
  return run > 0 ? 0 : 1;
}
