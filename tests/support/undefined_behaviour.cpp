#include <limits>

// Overflows an integer. Exits with 0 unless undefined behaviour traps.
int main(int argumentCount, char**) {
    volatile int number = std::numeric_limits<int>::max();
    number = number + argumentCount;
}
