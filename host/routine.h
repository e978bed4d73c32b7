// SPDX-License-Identifier: Apache-2.0
// The call of a numerical routine: what a routine library exports under the name that a procedure reports.
//
//   extern "C" void ZX40RM_spsqrt(double* values, const long long* input_sizes, ...);
//
// All arguments are packed into one array of 8-byte slots; an argument begins at values[offset[k]] (routines
// of a base-1 language get offsets that count from 1). A real takes one slot, an integer one slot holding a
// long long, a text 32 slots (256 bytes, closed by a zero byte), an array its elements in order, the last
// index fastest; an array of texts opens with one pointer per element. Derivatives, when call_type is 4:
// d(output element j)/d(input value k) goes to derivatives[j + k * *derivative_dimension], k counting the
// values of all inputs in order.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*QV_Routine)(double* values,              // 1  packed arguments
                           long long* input_sizes,      // 2  sizes of the input arrays, in argument order
                           double* outputs,             // 3  the packed arguments again, for the outputs
                           long long* output_sizes,     // 4  sizes of the output arrays
                           long long* input_offsets,    // 5  first slot of each input
                           long long* output_offsets,   // 6  first slot of each output
                           long long* failure,          // 7  1 before the call; 0 is set on success
                           long long* status,           // 8  16 entries, zero
                           double* second_derivatives,  // 9
                           long long* derivative_dimension,  // 10 leading dimension of `derivatives`
                           double* derivatives,              // 11
                           long long* output_count,          // 12 output elements in all
                           long long* input_count,           // 13 input values in all
                           long long* call_type);  // 14 0 values, 1 before, 2 after, 4 values and derivatives

#ifdef __cplusplus
}
#endif
