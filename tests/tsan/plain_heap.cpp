// The scalable allocator's two entry points, served by the C library, for
// the ThreadSanitizer build only (see CMakeLists.txt): the sanitizer
// intercepts posix_memalign and free, so it knows when a block changes
// owner, which tbbmalloc's own free lists would hide from it.
#include <tbb/scalable_allocator.h>

#include <cstdlib>

extern "C" void* scalable_aligned_malloc(size_t size, size_t alignment) {
  // posix_memalign wants a multiple of the pointer size; every caller asks
  // for a power of two, so the larger of the two serves both.
  if (alignment < sizeof(void*)) alignment = sizeof(void*);
  void* block = nullptr;
  return posix_memalign(&block, alignment, size > 0 ? size : 1) == 0 ? block : nullptr;
}

extern "C" void scalable_aligned_free(void* block) { std::free(block); }
