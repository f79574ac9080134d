/*
 * A host in C: the C++ library comes into the process with the effect. A thread's first exception must not need memory
 * that the thread's earlier commands could have seen to.
 *
 *   first_exception path/to/orvandel.so
 */
#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>

#include "orvandel/effect.h"

/* --- The process' memory, which runs out on request. */

extern void* __libc_malloc(size_t bytes);
extern void* __libc_calloc(size_t count, size_t bytes);
extern void* __libc_realloc(void* block, size_t bytes);
extern void* __libc_memalign(size_t alignment, size_t bytes);
static volatile int exhausted;

#pragma GCC visibility push(default)
void* malloc(size_t bytes) { return exhausted ? NULL : __libc_malloc(bytes); }
void* calloc(size_t count, size_t bytes) { return exhausted ? NULL : __libc_calloc(count, bytes); }
void* realloc(void* block, size_t bytes) { return exhausted ? NULL : __libc_realloc(block, bytes); }
void* aligned_alloc(size_t alignment, size_t bytes) { return exhausted ? NULL : __libc_memalign(alignment, bytes); }
#pragma GCC visibility pop

static OrvFilterMain filterMain;

static void* commandsOfOneThread(void* codes) {
  static uint64_t globals[4744 / 8];
  static void* block = globals;
  static const OrvServiceTable services;
  OrvInRecord in = {.globalData = &block, .services = &services};
  OrvOutRecord out = {0};
  int32_t* code = codes;
  code[0] = filterMain(ORV_QUERY_DYNAMIC_FLAGS, &in, &out, NULL, NULL, NULL);
  in.services = NULL; /* refused by an exception */
  exhausted = 1;
  code[1] = filterMain(ORV_QUERY_DYNAMIC_FLAGS, &in, &out, NULL, NULL, NULL);
  exhausted = 0;
  return NULL;
}

int main(int argc, char** argv) {
  void* module = dlopen(argc > 1 ? argv[1] : "orvandel.so", RTLD_NOW | RTLD_LOCAL);
  if (module == NULL) return puts(dlerror()), 1;
  *(void**)&filterMain = dlsym(module, "FilterMain");
  int32_t code[2] = {-1, -1};
  pthread_t thread;
  if (pthread_create(&thread, NULL, commandsOfOneThread, code) != 0 || pthread_join(thread, NULL) != 0) return 1;
  printf("with memory %d, without %d\n", code[0], code[1]);
  return code[0] == 0 && code[1] == ORV_INVALID_CALLBACK ? 0 : 1;
}
