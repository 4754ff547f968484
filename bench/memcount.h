#pragma once

/// The heap as the benchmark program's malloc family sees it (memcount.cpp).
namespace memcount {

/// Bytes in use now (usable sizes of the live blocks).
long long bytesInUse();
/// The highest bytesInUse() since the last resetPeak().
long long peakBytes();
/// Starts a new peak at the present use.
void resetPeak();

/// Peak heap growth over the scope's start: `Scope s; ...; s.peakGrowth()`.
class Scope
{
public:
    Scope() : start(bytesInUse()) { resetPeak(); }
    long long peakGrowth() const { return peakBytes() - start; }
    long long growth() const { return bytesInUse() - start; }

private:
    long long start;
};

} // namespace memcount
