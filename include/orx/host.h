/* The default host runtime (liborx_host.so): the service table handed to the
   threaded data-fitting and statistics entry points, and the test hooks. */
#ifndef ORX_HOST_H
#define ORX_HOST_H

#include <stddef.h>
#include <stdint.h>

#include "orx/export.h"

/* A unit of parallel work: called once per item, with the index (0-based,
   below the runner's thread count) of the thread that runs it. */
typedef void (*orx_threader_fn)(int64_t item, int64_t thread, void* ctx);

/* Entries of the host service table, in order. */
enum {
  ORX_HOST_RUN = 0,             /* orx_host_run_fn */
  ORX_HOST_SET_NUM_THREADS = 1, /* orx_host_set_num_threads_fn */
  ORX_HOST_ALLOCATE = 2,        /* orx_host_allocate_fn */
  ORX_HOST_DEALLOCATE = 3,      /* orx_host_deallocate_fn */
  ORX_HOST_NUM_THREADS = 4,     /* orx_host_num_threads_fn */
  ORX_HOST_SERVICE_COUNT = 5
};

/* 0: run threader(item, thread, ctx) for every item in 0..nitems-1 on at most
   nthreads threads of a persistent pool (the caller is thread 0), and return
   when all are done. A call made from inside a running threader, or while
   another thread is using the pool, runs its items on the calling thread.
   Requests above 256 threads are clamped to 256. */
typedef void (*orx_host_run_fn)(orx_threader_fn threader, int64_t nitems, int64_t nthreads,
                                void* ctx);
/* 1: set the count that entry 4 reports; n <= 0 restores the default. */
typedef void (*orx_host_set_num_threads_fn)(int64_t n);
/* 2, 3: the host allocator (same blocks as orx_serv_allocate / _deallocate). */
typedef void* (*orx_host_allocate_fn)(size_t bytes, size_t alignment);
typedef void (*orx_host_deallocate_fn)(void* block);
/* 4: threads available: ORX_NUM_THREADS when set to a positive integer, else
   the hardware concurrency (at least 1), unless entry 1 has set a count. The
   variable is read on every call. */
typedef int64_t (*orx_host_num_threads_fn)(void);

/* The table itself: ORX_HOST_SERVICE_COUNT function pointers. */
ORX_API const void* const* orx_host_services(void) ORX_NOEXCEPT;

/* ---- Test hooks ---------------------------------------------------------- */

/* Make the k-th allocation from now on fail (k >= 1; 0 disarms). Counts every
   call of orx_serv_allocate and orx_serv_orx_malloc, on any thread. */
ORX_API void orx_host_test_fail_allocation(int64_t k) ORX_NOEXCEPT;

/* One printed message, as the host formatted it. Fields not carried by the
   message are null / 0. */
typedef struct orx_host_message {
  int number;           /* 735..753, or any other number the library passed */
  int argc;             /* argument count the library passed */
  const char* function; /* function name (messages 735..741) */
  int index;            /* element index (735, 742..753) */
  double value;         /* value (742..753) */
  const char* text;     /* the formatted line, without its newline */
} orx_host_message;

typedef void (*orx_host_message_sink)(const orx_host_message* message, void* ctx);

/* Send messages to `sink` instead of standard error; a null sink restores
   standard error. Process-wide; the sink is called by one thread at a time. */
ORX_API void orx_host_test_capture_messages(orx_host_message_sink sink, void* ctx) ORX_NOEXCEPT;

#endif
