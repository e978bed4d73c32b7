/* SPDX-License-Identifier: Apache-2.0
 * What "quiver sweep --mpi" needs of MPI, as a library of its own: only that option loads it, so that the program runs where
 * there is no MPI.
 *
 *   int rank, size;
 *   quiver_mpi_start(&rank, &size);
 *   if (quiver_mpi_least(ok) == 1) ...        all ranks are there, and all were content
 *   quiver_mpi_finish();
 */
#include <mpi.h>

#define EXPORTED __attribute__((visibility("default")))

EXPORTED int quiver_mpi_start(int* rank, int* size);
EXPORTED int quiver_mpi_least(int value);
EXPORTED void quiver_mpi_finish(void);

/* 0 when MPI cannot be started. */
int quiver_mpi_start(int* rank, int* size) {
  if (MPI_Init(0, 0) != MPI_SUCCESS) return 0;
  MPI_Comm_rank(MPI_COMM_WORLD, rank);
  MPI_Comm_size(MPI_COMM_WORLD, size);
  return 1;
}

/* The least of what all ranks give; waits for them. */
int quiver_mpi_least(int value) {
  int least = value;
  MPI_Allreduce(&value, &least, 1, MPI_INT, MPI_MIN, MPI_COMM_WORLD);
  return least;
}

void quiver_mpi_finish(void) { MPI_Finalize(); }
