// SPDX-License-Identifier: Apache-2.0
// Streams between the material ports of blocks: "tee.OUT_P -> mix.IN_F" in a case.
//
//   NumberStreams(flowsheet, description.connect);               // before sizing: how many streams a port has
//   StreamConnector connector;                                   // after it: one by one
//   connector.Connect(connection, left, right, ties, faults);
//   for (const Stream& stream : FindStreams(flowsheet, connector.connected())) Print(stream.name, stream.port->F);
#pragma once

#include <set>
#include <string>
#include <vector>

#include "host/modeller/ports.h"
#include "runtime/io/case_file.h"
#include "runtime/system/equation_system.h"
#include "runtime/system/flowsheet.h"

namespace quiver {

// Connections to a port for several streams that do not say which one they are become its next one, in the order of the
// case: mix.IN_F turns into mix.IN_F(2). Tells each such port how many streams it has, where the user does not.
void NumberStreams(const Flowsheet& flowsheet, std::vector<Connection>& connections);

// Start values along streams: what the block at the outlet's end assigns to its port, or the user gives there, is where the inlet
// starts that nobody has told a value. Called between rounds of assignments.
void PassStarts(const Flowsheet& flowsheet, const std::vector<Connection>& connections);

struct Stream {
  std::string from, to;        // "tee.OUT_P", "mix.IN_F(2)"; one is empty at the edge of the flowsheet
  QV_MATERIALPORTRPREV* port;  // where it leaves, or enters from outside
  std::string Name() const {
    return from.empty() ? "-> " + to : to.empty() ? from + " ->" : from + " -> " + to;
  }
};

class StreamConnector {
 public:
  // Ties the members of two ports to each other, in both directions of flow; those of which no model speaks stay free.
  // False, with a fault that says what to do, when they do not fit.
  bool Connect(const Connection& connection, QV_MATERIALPORTRPREV& left, QV_MATERIALPORTRPREV& right,
               std::vector<Tie>& ties, std::vector<CaseFault>& faults);
  const std::vector<Stream>& connected() const { return connected_; }

 private:
  std::vector<Stream> connected_;
  std::set<const QV_MATERIALPORTRPREV*> used_;
};

// All streams in the order of the blocks' ports: those between blocks once, where they leave.
std::vector<Stream> FindStreams(const Flowsheet& flowsheet, const std::vector<Stream>& connected);

}  // namespace quiver
