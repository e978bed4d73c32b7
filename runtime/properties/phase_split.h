// SPDX-License-Identifier: Apache-2.0
// Converges two or three phases at given temperature and pressure from starting compositions: successive
// substitution with acceleration, then a Newton minimisation of the Gibbs energy in mole numbers.
//
//   PhaseSplit split(eos, work);
//   split.Start(z, ln_phi_of_each, fractions);
//   split.Converge(pressure);   // split.phases(): fractions and compositions; vanished phases are gone
#pragma once

#include <span>
#include <vector>

#include "runtime/properties/peng_robinson.h"

namespace quiver {

struct SplitPhase {
  double fraction = 0;         // moles of the phase per mole of feed
  std::vector<double> x;       // mole fractions
  std::vector<double> ln_phi;  // at x
  EosState state;
};

class PhaseSplit {
 public:
  PhaseSplit(const PengRobinson& eos, PengRobinson::Workspace& work) : eos_(eos), work_(work) {}

  // Fugacity coefficients of each phase, and amounts to start from (they matter from three phases on).
  void Start(std::span<const double> z, std::span<const std::vector<double>> ln_phi,
             std::span<const double> fractions);
  // True when all fugacities agree to 1e-10 (relative); phases that vanish or run into one another on
  // the way are removed.
  bool Converge(double pressure);

  std::vector<SplitPhase>& phases() { return phases_; }
  double worst_fugacity_gap() const { return gap_; }  // largest difference of ln f between phases
  // sum n (ln x + ln phi) over the phases, per mole of feed: Gibbs energy over RT up to a constant of the
  // feed
  double Gibbs() const;
  int iterations() const { return iterations_; }

 private:
  void Distribute();  // fractions and compositions from the fugacity coefficients (Rachford-Rice)
  void DistributeTwo();
  void DistributeMany();
  void Update(double pressure);  // fugacity coefficients from the compositions
  bool Newton(double pressure);
  void DropVanished();
  bool MergeAlike();  // two phases that became one; true when there were such
  void BecomeSingle(double pressure);

  const PengRobinson& eos_;
  PengRobinson::Workspace& work_;
  std::vector<double> z_;
  std::vector<SplitPhase> phases_;
  std::vector<PengRobinson::Derivatives> derivatives_;
  std::vector<double> matrix_, right_, last_, change_, moles_, trial_, factor_;
  std::vector<std::size_t> reference_, unknown_;
  double gap_ = 0;
  int iterations_ = 0;
};

// The vapour-like fraction b of sum z (K - 1)/(1 + b (K - 1)) = 0, kept within [0, 1].
double RachfordRice(std::span<const double> z, std::span<const double> k);

}  // namespace quiver
