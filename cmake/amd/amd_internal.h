/* Stands before AMD's header of the same name: memory and the way out of a call come from the host
 * (src/symbolic/metis_host.cpp). Of AMD, which prints nothing and touches nothing of the process, nothing else needs
 * to be turned aside. */
#include_next "amd_internal.h"

#ifndef VYR_AMD_INTERNAL_H
#define VYR_AMD_INTERNAL_H

void* vyr_metis_malloc(size_t bytes);
void vyr_metis_free(void* block);
void vyr_amd_step(void);

#define SuiteSparse_malloc(count, bytes) vyr_metis_malloc((size_t)(count) * (bytes))
#define SuiteSparse_free(block) vyr_metis_free(block)

/* Debugging output that stands at every pivot, a good moment to ask whether the call was cancelled. */
#undef AMD_DEBUG1
#define AMD_DEBUG1(text) vyr_amd_step()

#endif
