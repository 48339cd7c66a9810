// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace oq {

/// A set of numbers below a fixed size that finds its next member quickly, however sparse it is. Threads may
/// read while others change it, as long as a shared set only grows or only shrinks. A reader finds every number that
/// was inserted before it began.
class OQBitmapIndex {
 public:
  explicit OQBitmapIndex(std::size_t size = 0) : _words(size / 64 + 1), _blocks(size / 4096 + 1) {}

  void insert(std::size_t number) {
    _words[number / 64] |= bitOf(number);
    _blocks[number / 4096] |= bitOf(number / 64);
  }
  void erase(std::size_t number) {
    const std::uint64_t bit = bitOf(number);
    const bool wasLast = (_words[number / 64].fetch_and(~bit) & ~bit) == 0;
    if (wasLast) _blocks[number / 4096] &= ~bitOf(number / 64);
  }

  /// The first member in [from, end), or `end`.
  std::size_t next(std::size_t from, std::size_t end) const {
    if (from >= end) return end;
    const std::uint64_t inWord = bitsFrom(_words[from / 64], from % 64);
    if (inWord) return atMost(end, from / 64 * 64 + lowest(inWord));
    for (std::size_t word = from / 64 + 1; word * 64 < end; word = (word / 64 + 1) * 64) {
      // Other threads may change words after the block was read: a word filled since is missed, one emptied since is
      // skipped.
      for (std::uint64_t block = bitsFrom(_blocks[word / 64], word % 64); block; block &= block - 1) {
        const std::size_t found = word / 64 * 64 + lowest(block);
        if (const std::uint64_t members = _words[found]) return atMost(end, found * 64 + lowest(members));
      }
    }
    return end;
  }

 private:
  static std::uint64_t bitOf(std::size_t number) { return std::uint64_t{1} << (number % 64); }
  /// The bits at and above a position.
  static std::uint64_t bitsFrom(std::uint64_t bits, std::size_t position) {
    return bits & (~std::uint64_t{0} << position);
  }
  static std::size_t lowest(std::uint64_t bits) { return static_cast<std::size_t>(std::countr_zero(bits)); }
  static std::size_t atMost(std::size_t end, std::size_t number) { return number < end ? number : end; }

  std::vector<std::atomic<std::uint64_t>> _words;
  /// One bit for each word that may have members.
  std::vector<std::atomic<std::uint64_t>> _blocks;
};

}  // namespace oq
