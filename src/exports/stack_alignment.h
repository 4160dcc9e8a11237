#pragma once

// Goes before the definition of a function that hosts call. Hosts that are built for Microsoft's
// ABI align the stack to 4 bytes. GCC and Clang for mingw-w64 generate code that takes 16 for
// granted, so such a function has to align the stack itself. There is no standard way to say so.
#ifdef _MSC_VER
#define MENDLOFT_ALIGNS_STACK
#else
#define MENDLOFT_ALIGNS_STACK [[gnu::force_align_arg_pointer]]
#endif
