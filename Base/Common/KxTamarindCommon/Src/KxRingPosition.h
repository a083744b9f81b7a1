// Positions in the registry lists (library-internal).
//
// A list of `count` records has count + 1 positions, arranged as a ring:
// the records 0 .. count - 1 and then the end (position count), after which
// the first record follows again. Stepping n positions (backward for a
// negative n) therefore lands where n modulo (count + 1) forward steps land.
// Callers may pass any long, LONG_MIN and LONG_MAX included: the helpers
// reduce the count first, so a move costs at most half a lap and no sum can
// overflow, whatever the width of long.
//
// The object list and the interface list both move through these helpers;
// a faster position lookup (an index beside the list) needs only the
// reduced distance that ForwardDistance gives.
#pragma once

#include <climits>
#include <cstddef>
#include <iterator>

namespace KxTamarind {
namespace KxRing {

// The r in [0, count] with r = n (mod count + 1): how many forward steps
// reach the position that n steps reach on a ring of count + 1 positions.
inline std::size_t ForwardDistance(long n, std::size_t count) {
    const unsigned long long ring = static_cast<unsigned long long>(count) + 1;
    if (n >= 0) {
        return static_cast<std::size_t>(static_cast<unsigned long long>(n) % ring);
    }
    // |n| computed in unsigned arithmetic: exact for LONG_MIN too.
    const unsigned long long back = (0ULL - static_cast<unsigned long long>(n)) % ring;
    return static_cast<std::size_t>(back == 0 ? 0 : ring - back);
}

// The position n steps from `from` in `records` (a std::list or another
// bidirectional container whose end() is the ring's end position). Walks the
// shorter way round: at most (size + 1) / 2 links.
template <class Records>
typename Records::iterator Step(Records& records, typename Records::iterator from, long n) {
    const std::size_t count = records.size();
    const std::size_t forward = ForwardDistance(n, count);
    const std::size_t backward = forward == 0 ? 0 : count + 1 - forward;
    typename Records::iterator it = from;
    if (forward <= backward) {
        for (std::size_t i = 0; i < forward; ++i) {
            it = (it == records.end()) ? records.begin() : std::next(it);
        }
    } else {
        for (std::size_t i = 0; i < backward; ++i) {
            it = (it == records.begin()) ? records.end() : std::prev(it);
        }
    }
    return it;
}

// Whether index + n < count, compared exactly (as if in unbounded integers):
// a sum above LONG_MAX is never below the count, a sum below LONG_MIN always
// is (negative sums count as inside).
inline bool SumBelow(long index, long n, long count) {
    if (n > 0 && index > LONG_MAX - n) {
        return false;
    }
    if (n < 0 && index < LONG_MIN - n) {
        return true;
    }
    return index + n < count;
}

// index + n when long can hold it. A sum below LONG_MIN (the only one a
// caller that checked SumBelow can meet) cannot be kept: it becomes the
// nearest value with the same ring position, LONG_MIN + r with
// r = (index + n - LONG_MIN) mod (count + 1), so the next fetch lands where
// it would have landed. Only a later skip by nearly LONG_MAX can tell the
// difference: the walk after it then ends at the count instead of running
// on towards -2.
inline long AddIndex(long index, long n, long count) {
    if (n < 0 && index < LONG_MIN - n) {
        // index - LONG_MIN and n are both exact as unsigned magnitudes: the
        // first is in [0, LONG_MAX], the second is negative.
        const unsigned long long ring = static_cast<unsigned long long>(count) + 1;
        const unsigned long long above =
            static_cast<unsigned long long>(index) - static_cast<unsigned long long>(LONG_MIN);
        const unsigned long long below = 0ULL - static_cast<unsigned long long>(n);
        // (above - below) mod ring, with above < below.
        const unsigned long long r = (below - above) % ring;
        const unsigned long long offset = r == 0 ? 0 : ring - r;
        return LONG_MIN + static_cast<long>(offset);
    }
    if (n > 0 && index > LONG_MAX - n) {
        // Not a position any caller keeps (SumBelow answered false); the
        // nearest representable value keeps the result defined.
        return LONG_MAX;
    }
    return index + n;
}

} // namespace KxRing
} // namespace KxTamarind
