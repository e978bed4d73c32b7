// SPDX-License-Identifier: Apache-2.0
// Signatures as the catalogue writes them, read at compile time; a count that does not fit does not compile.
//
//   constexpr auto kSignature = quiver::ParseSignature<2, 1>("r[n,n]* r[n]*", "r[n]");
//
// One symbol per argument: i integer, r real, s text; [n] one array dimension, [n,n] two; * an input that is
// a variable.
#pragma once

#include "host/procedure.h"

namespace quiver {

// What a procedure has besides its arguments.
enum ProcedureFlags : unsigned {
  kDerivatives = 1,    // the routine returns derivatives
  kPrecall = 2,        // it is called once before it is evaluated
  kPostcall = 4,       // and once after
  kAlwaysCall = 8,     // evaluated anew although its inputs are the same
  kComponentList = 16  // it asks for properties of the components of a list
};

template <int In, int Out>
struct Signature {
  int inputs = In, outputs = Out, dimensions = 0;
  unsigned char types[In + Out] = {};
  unsigned char dims[In + Out] = {};
  unsigned char is_variable[In > 0 ? In : 1] = {};
  bool derivatives = false, precall = false, postcall = false, always_call = false, component_list = false;
};

namespace signature_errors {
// Reached in constant evaluation only when the row is wrong: not constant, so the compiler stops and names
// them.
inline void NumberOfArgumentsDiffersFromTheCount() {}
inline void UnknownSymbolInSignature() {}
}  // namespace signature_errors

consteval int CountDimensions(const char* inputs, const char* outputs) {
  int count = 0;
  for (const char* text : {inputs, outputs})
    for (; *text; ++text) count += *text == 'n';
  return count;
}

template <int In, int Out>
consteval Signature<In, Out> ParseSignature(const char* inputs, const char* outputs, unsigned flags = 0) {
  Signature<In, Out> result;
  int argument = 0;
  const auto parse = [&](const char* at, int end, bool stars) {
    while (*at) {
      if (argument == end) signature_errors::NumberOfArgumentsDiffersFromTheCount();
      switch (*at++) {
        case 'i':
          result.types[argument] = kQvInteger;
          break;
        case 'r':
          result.types[argument] = kQvReal;
          break;
        case 's':
          result.types[argument] = kQvText;
          break;
        default:
          signature_errors::UnknownSymbolInSignature();
      }
      if (*at == '[') {
        do {
          if (*++at != 'n') signature_errors::UnknownSymbolInSignature();
          ++result.dims[argument];
          ++at;
        } while (*at == ',');
        if (*at++ != ']') signature_errors::UnknownSymbolInSignature();
        result.dimensions += result.dims[argument];
      }
      if (*at == '*' && stars) {
        result.is_variable[argument] = 1;
        ++at;
      }
      ++argument;
      if (*at == ' ')
        ++at;
      else if (*at)
        signature_errors::UnknownSymbolInSignature();
    }
    if (argument != end) signature_errors::NumberOfArgumentsDiffersFromTheCount();
  };
  parse(inputs, In, true);
  parse(outputs, In + Out, false);
  result.derivatives = (flags & kDerivatives) != 0;
  result.precall = (flags & kPrecall) != 0;
  result.postcall = (flags & kPostcall) != 0;
  result.always_call = (flags & kAlwaysCall) != 0;
  result.component_list = (flags & kComponentList) != 0;
  return result;
}

}  // namespace quiver
