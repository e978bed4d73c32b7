/* SPDX-License-Identifier: Apache-2.0
 * A routine library that goes wrong on purpose, in place of libbrisolt: PLIMIT(x, lower, upper) misbehaves where x, the
 * pressure drop of PSV_SIMPLE, is near a whole number.
 *
 *   quiver --routines FOLDER sweep PSV_SIMPLE --vary P_DROP=1..9:9 ...
 */
#include <math.h>
#include <stdlib.h>
#if defined(_WIN32)
#include <windows.h>
#define EXPORT __declspec(dllexport)
#define pause() Sleep(INFINITE)
#else
#include <unistd.h>
#define EXPORT __attribute__((visibility("default")))
#endif

#include "host/routine.h"

/* Sanitizers are not to see it before the host does. */
#ifdef __GNUC__
__attribute__((no_sanitize("undefined")))
#endif
EXPORT void
ZX40RM_splimit(double* values, long long* input_sizes, double* outputs, long long* output_sizes,
               long long* input_offsets, long long* output_offsets, long long* failure, long long* status,
               double* second_derivatives, long long* derivative_dimension, double* derivatives,
               long long* output_count, long long* input_count, long long* call_type) {
  const double x = values[input_offsets[0]];
  double* const limited = outputs + output_offsets[0];
  volatile int* nowhere = 0;
  *failure = 0;
  if (*call_type == 1 || *call_type == 2) return;
  *limited = x;
  if (*call_type == 4) derivatives[0] = 1;
  switch (fabs(x - nearbyint(x)) < 1e-3 ? (int)nearbyint(x) : 0) {
    case 2:
      *nowhere = 1;
      break;
    case 3:
      abort();
    case 4:
      exit(7);
    case 5:
      for (;;) pause();
    case 6:
      *limited = NAN;
      break;
    case 7:
      limited[1] = 0; /* behind the last slot */
      break;
    case 8:
      status[0] = 1;
      *failure = 3;
      break;
    default:
      break;
  }
  (void)input_sizes;
  (void)output_sizes;
  (void)second_derivatives;
  (void)derivative_dimension;
  (void)output_count;
  (void)input_count;
}
