#pragma once

#include <cstddef>
#include <new>
#include <span>
#include <vector>

namespace kelvaris {

/// How alike two unit vectors are: their dot product, which is the cosine of their angle. 0 when either
/// is empty, when the lengths differ, and when the sum is not finite. Any thread.
float cosineSimilarity(std::span<const float> a, std::span<const float> b);

/// Allocates where a cache line begins.
template <class T>
struct CacheLineAllocator {
    using value_type = T;
    static constexpr std::align_val_t alignment{64};

    CacheLineAllocator() = default;
    template <class U>
    CacheLineAllocator(const CacheLineAllocator<U>&) {}
    T* allocate(std::size_t count) { return static_cast<T*>(::operator new(count * sizeof(T), alignment)); }
    void deallocate(T* values, std::size_t) { ::operator delete(values, alignment); }
    bool operator==(const CacheLineAllocator&) const = default;
};

/// Vectors one after the other for the blocked product, which is twice as fast on them: no load of a
/// processor's wide register straddles two lines.
using VectorBlock = std::vector<float, CacheLineAllocator<float>>;

/// The similarity of every row with every column, blocked so that each value read from memory serves
/// several products. Bit for bit what cosineSimilarity gives for each pair.
/// @param rows    rowCount vectors of `dimension` floats, one after the other
/// @param columns columnCount vectors likewise
/// @param result  rowCount times columnCount floats, row by row
void cosineSimilarities(const float* rows, std::size_t rowCount, const float* columns,
                        std::size_t columnCount, std::size_t dimension, float* result);

}  // namespace kelvaris
