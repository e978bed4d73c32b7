// SPDX-License-Identifier: Apache-2.0
#include "runtime/export/closed_forms.h"

#include "runtime/contract/names.h"

namespace quiver {
namespace {

using Inputs = std::vector<std::vector<NlFormula>>;

// Within this distance of 0 the guarded division and the guarded root are polynomials (routines/brisolt/limits.cc,
// routines/corvanta/basic_guards.cc).
constexpr double kSmall = 1e-10;

NlFormula Scalar(const Inputs& inputs, size_t argument) { return inputs[argument][0]; }

NlFormula Divide(const Inputs& in, int) {
  const NlFormula a = Scalar(in, 0), b = Scalar(in, 1), s = b / kSmall, s2 = s * s;
  return If(Abs(b) >= kSmall, a / b, a * (s * (3 + s2 * (-3 + s2)) / kSmall));
}

NlFormula SignedRoot(const Inputs& in, int) {
  const NlFormula x = Scalar(in, 0), s = x / kSmall, s2 = s * s;
  const NlFormula small = 1e-5 * s * (45 + s2 * (-18 + 5 * s2)) / 32;
  return If(x >= kSmall, Sqrt(x), If(x <= -kSmall, -Sqrt(-x), small));
}

NlFormula Limit(const Inputs& in, int) { return Min({Max({Scalar(in, 0), Scalar(in, 1)}), Scalar(in, 2)}); }

NlFormula LimitMagnitude(const Inputs& in, int) {
  const NlFormula x = Scalar(in, 0), size = Min({Max({Abs(x), Scalar(in, 1)}), Scalar(in, 2)});
  return If(x < 0, -size, size);
}

NlFormula SmoothStep(const NlFormula& t) { return t * t * (3 - 2 * t); }

NlFormula LowerRamp(const Inputs& in, int) {
  const NlFormula x = Scalar(in, 0), minimum = Scalar(in, 1), width = Scalar(in, 2);
  if (width.IsNumber(0)) return Max({x, minimum});
  return If(x >= minimum + width, x, minimum + width * Exp((x - minimum - width) / width));
}

NlFormula LowerRampTo(const Inputs& in, int) {
  const NlFormula x = Scalar(in, 0), minimum = Scalar(in, 1), width = Scalar(in, 2), other = Scalar(in, 3);
  if (width.IsNumber(0)) return If(x >= minimum, x, other);
  const NlFormula blend = other + (x - other) * SmoothStep((x - minimum) / width);
  return If(x >= minimum + width, x, If(x <= minimum, other, blend));
}

NlFormula Ramp(const Inputs& in, int) {
  const NlFormula x1 = Scalar(in, 1), x2 = Scalar(in, 2), y1 = Scalar(in, 3), y2 = Scalar(in, 4);
  const NlFormula t = Min({Max({(Scalar(in, 0) - x1) / (x2 - x1), 0.0}), 1.0});
  return y1 + (y2 - y1) * SmoothStep(t);
}

NlFormula Smallest(const Inputs& in, int) {
  const auto count = static_cast<long>(Scalar(in, 1).value());  // an integer is never an unknown
  return Min({in[0].begin(), in[0].begin() + count});
}

// The `step` from one factor of the matrix to the next, and where the first stands, tell a row from a column.
NlFormula Product(const std::vector<NlFormula>& vector, const std::vector<NlFormula>& matrix, size_t first,
                  size_t step) {
  std::vector<NlFormula> terms;
  for (size_t k = 0; k < vector.size(); ++k) terms.push_back(vector[k] * matrix[first + k * step]);
  return Sum(std::move(terms));
}

NlFormula MatrixTimesVector(const Inputs& in, int output) {
  return Product(in[1], in[0], static_cast<size_t>(output) * in[1].size(), 1);
}
NlFormula VectorTimesMatrix(const Inputs& in, int output) {
  return Product(in[0], in[1], static_cast<size_t>(output), in[1].size() / in[0].size());
}

NlFormula ViscosityCorrection(const Inputs& in, int) {
  const NlFormula reynolds = Scalar(in, 0), cube = Sqrt(reynolds) * reynolds;
  return Min({1.0, cube / (0.9935 * cube + 2.878 * reynolds + 342.75)});
}

constexpr ClosedForm kForms[] = {
    {"ZX40RM_spcopy1", [](const Inputs& in, int) { return Scalar(in, 0); }},
    {"ZX40RM_spdivi", Divide},
    {"ZX40RM_splim_abs", LimitMagnitude},
    {"ZX40RM_splimit", Limit},
    {"ZX40RM_spmatr", MatrixTimesVector},
    {"ZX40RM_spminarm", LowerRampTo},
    {"ZX40RM_spminrmp", LowerRamp},
    {"ZX40RM_sppmin", Smallest},
    {"ZX40RM_spprd1", [](const Inputs& in, int) { return Product(in[0], in[1], 0, 1); }},
    {"ZX40RM_spprod", VectorTimesMatrix},
    {"ZX40RM_spramp", Ramp},
    {"ZX40RM_spsqrt", SignedRoot},
    {"ZX40RM_spvisccorr", ViscosityCorrection},
};

}  // namespace

std::span<const ClosedForm> AllClosedForms() { return kForms; }

const ClosedForm* FindClosedForm(std::string_view routine) {
  for (const ClosedForm& form : kForms)
    if (EqualIgnoringCase(form.routine, routine)) return &form;
  return nullptr;
}

}  // namespace quiver
