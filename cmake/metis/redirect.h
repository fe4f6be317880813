/* Put before every source of METIS: what it asks of the C library and of its helper library comes from the host
 * (src/symbolic/metis_host.cpp) instead. Nothing of the process is touched: no signal handler, no random numbers of
 * the C library, no output, no exit. */
#ifndef VYR_METIS_REDIRECT_H
#define VYR_METIS_REDIRECT_H

#include <GKlib.h>

void* vyr_metis_malloc(size_t bytes);
void* vyr_metis_realloc(void* block, size_t bytes);
void vyr_metis_free(void* block);
void vyr_metis_free_list(void** first, ...);
void vyr_metis_srand(unsigned int seed);
int vyr_metis_rand(void);
void vyr_metis_look(void);
__attribute__((noreturn)) void vyr_metis_fail(void);

/* Memory. The host releases what a call leaves behind, so the helper library keeps no list of its own. */
#define malloc(bytes) vyr_metis_malloc(bytes)
#define realloc(block, bytes) vyr_metis_realloc(block, bytes)
#define free(block) vyr_metis_free(block)
#define gk_malloc(bytes, what) vyr_metis_malloc(bytes)
#define gk_realloc(block, bytes, what) vyr_metis_realloc(block, bytes)
#define gk_free vyr_metis_free_list
#define gk_malloc_init() 1
#define gk_malloc_cleanup(show) ((void)0)
static inline gk_idx_t* vyr_metis_filled(size_t count, gk_idx_t value) {
    gk_idx_t* list = vyr_metis_malloc(count * sizeof *list);
    for (size_t i = 0; i < count; ++i) list[i] = value;
    return list;
}
#define gk_idxsmalloc(count, value, what) vyr_metis_filled(count, value)

/* Random numbers. */
#define gk_randinit(seed) vyr_metis_srand((unsigned int)(seed))
#define gk_randint32() ((uint32_t)vyr_metis_rand())
#define rand() vyr_metis_rand()
#define srand(seed) vyr_metis_srand(seed)

/* Errors: all of them end the call. */
#define gk_sigtrap() 1
#define gk_siguntrap() 1
#undef gk_sigcatch
#define gk_sigcatch() 0
#define gk_errexit(signal, ...) vyr_metis_fail()
#define errexit(...) vyr_metis_fail()
#define raise(signal) vyr_metis_fail()
#define exit(code) vyr_metis_fail()
#define abort() vyr_metis_fail()

/* Every step of METIS marks the stack of its work space, a good moment to ask whether the call was cancelled. */
#ifdef VYR_METIS_PROPER /* not the helper library, which defines these functions */
#define gk_mcorePush(core) (vyr_metis_look(), gk_mcorePush(core))
#define gk_mcorePop(core) (vyr_metis_look(), gk_mcorePop(core))
#endif

/* Output and clocks serve debugging levels that nobody sets. */
#define printf(...) ((void)0)
#define fprintf(...) ((void)0)
#define gk_CPUSeconds() 0.0
#define gk_WClockSeconds() 0.0

#endif
