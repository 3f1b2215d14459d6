// What the program takes from the allocator and from the system, counted and made to fail. Programs that ask for it are
// built with Faults.cpp, whose operator new and pthread_create stand in for the usual ones.
#pragma once

namespace kestrova::test {

/** Allocations of all threads so far. */
[[nodiscard]] unsigned allocations();

enum class Fault
{
    Allocation,
    Thread,
};

/** While it lives, the n-th request from here on is refused, counted from 1, and with bAndAllLater those after it. */
class Refusal
{
public:
    Refusal(Fault eFault, int n, bool bAndAllLater = false);
    ~Refusal();
    Refusal(const Refusal&) = delete;
    Refusal& operator=(const Refusal&) = delete;

    /** Whether there were that many requests. */
    [[nodiscard]] bool happened() const;

private:
    Fault m_eFault;
};

} // namespace kestrova::test
