#pragma once

// For mingw-w64 only: what gcc_runtime.cpp keeps for the threads that have thrown or caught a C++
// exception in the library.

// Frees what is kept for the calling thread, which ends.
void ForgetThisThread();

// Frees what is kept for all threads. No exception may be thrown afterwards.
void ForgetAllThreads();
