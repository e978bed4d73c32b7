// SPDX-License-Identifier: Apache-2.0
// Examples of the commands and topics of the help: what `quiver COMMAND --help`, `quiver help TOPIC` and the manual page show.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quiver {

struct HelpExample {
  const char* command;  // that it belongs to
  const char* line;     // as one types it in the folder of the sources; each line runs as it stands
  const char* about;
};
std::span<const HelpExample> HelpExamples();
std::string ExamplesOf(std::string_view command);  // a text with a heading; empty where there are none

struct HelpTopic {
  const char* name;
  const char* about;
  const char* text;
};
std::span<const HelpTopic> HelpTopics();

}  // namespace quiver
