// What all register vocabularies for x86 do with memory in the same way.
#pragma once

#include <xmmintrin.h>

namespace kx::vector {
namespace {

struct x86_memory {
    static void prefetch(const void* from) { _mm_prefetch(static_cast<const char*>(from), _MM_HINT_T0); }
    static void finish_streaming() { _mm_sfence(); }
};

} // namespace
} // namespace kx::vector
