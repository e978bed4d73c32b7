/* SPDX-License-Identifier: Apache-2.0
 * A reaction rate of one's own: first-order decay of the first component into the second, by Arrhenius.
 *
 * The procedure PRKUSR calls ZX40RM_sprkusr. Of its 25 inputs this routine reads
 *   input 3   temperature, C
 *   input 7   concentrations of the components, kmol/m3
 *   input 15  the user's real parameters: frequency factor (1/s), activation energy (kJ/kmol)
 * and gives one output, the rate of each component in kmol/m3/s.
 *
 * Build it as a shared library named libcorvanta_user.so and tell quiver its folder:
 *   cc -shared -fPIC -I. -o mine/libcorvanta_user.so examples/user_routine/user_kinetics.c -lm
 *   quiver --routines mine list procedures
 */
#include <math.h>

#include "host/routine.h"

#if defined(_WIN32)
#define ROUTINE_EXPORT __declspec(dllexport)
#else
#define ROUTINE_EXPORT __attribute__((visibility("default")))
#endif

enum { kTemperature = 2, kConcentrations = 6, kParameters = 14 }; /* inputs count from 0 */

ROUTINE_EXPORT void ZX40RM_sprkusr(double* values, long long* input_sizes, double* outputs, long long* output_sizes,
                                   long long* input_offsets, long long* output_offsets, long long* failure,
                                   long long* status, double* second_derivatives, long long* derivative_dimension,
                                   double* derivatives, long long* output_count, long long* input_count,
                                   long long* call_type) {
  const double gas_constant = 8.31446261815324; /* kJ/kmol/K */
  const double* concentrations = values + input_offsets[kConcentrations];
  const double* parameters = values + input_offsets[kParameters];
  double* rates = outputs + output_offsets[0];
  const double kelvin = values[input_offsets[kTemperature]] + 273.15;
  const long long components = output_sizes[0];
  double rate;
  long long i;

  if (*call_type == 1 || *call_type == 2) { /* before and after a run: nothing to prepare */
    *failure = 0;
    return;
  }
  if (components < 2 || input_sizes[0] < 2 || kelvin <= 0) {
    status[0] = components < 2 || input_sizes[0] < 2 ? kConcentrations + 1 : kTemperature + 1; /* the input to blame */
    *failure = 3;
    return;
  }
  rate = parameters[0] * exp(-parameters[1] / (gas_constant * kelvin)) * concentrations[0];
  for (i = 0; i < components; ++i) rates[i] = 0;
  rates[0] = -rate;
  rates[1] = rate;
  *failure = 0;

  (void)second_derivatives; /* the host differentiates this routine by differences */
  (void)derivative_dimension;
  (void)derivatives;
  (void)output_count;
  (void)input_count;
}
