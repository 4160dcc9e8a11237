// Included before each source that includes 7-Zip's Quantum decoder. The decoder allocates its
// window (32 KB to 2 MB) and never frees it, so every extraction of a Quantum cabinet would leak
// one. This header gives the class a destructor. 7-Zip's files stay as they are.
//
// While the header of the class is read, `CDecoder()`, the start of its constructor, stands for the
// destructor followed by that start. `class CDecoder` has no parentheses and stays as it is. All
// sources that see the class must include this header first, because it may have only one
// definition. SevenZip.cmake finds them.
//
// A 7-Zip version with another decoder does not build, or does not need the destructor:
// - A destructor of its own turns into `~~CDecoder() ...`, a syntax error.
// - A constructor with parameters is an error of the macro.
// - Without a constructor there is no destructor, and the assertion at the end fails unless a
//   member frees the window.
// - A reference to a pointer binds to no window of another type.
// - SevenZip.cmake stops if the decoder allocates or frees the window in another way.
#pragma once

#include "Common/Common.h"

#include "../C/Alloc.h"

#include <type_traits>

#define CDecoder()                                 \
    ~CDecoder() {                                  \
        Byte*& window = _win;                      \
        ::MidFree(window);                         \
    }                                              \
    CDecoder(const CDecoder&) = delete;            \
    CDecoder& operator=(const CDecoder&) = delete; \
    CDecoder()

#include "7zip/Compress/QuantumDecoder.h"

#undef CDecoder

static_assert(!std::is_trivially_destructible_v<NCompress::NQuantum::CDecoder>,
              "nothing frees the window of 7-Zip's Quantum decoder");
