#include <limits>

// Overflows. Ends with 0 unless undefined behaviour traps.
int main(int argumentCount, char**) {
    volatile int number = std::numeric_limits<int>::max();
    number = number + argumentCount;
}
