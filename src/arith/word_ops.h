// Loops over arrays of words: what every number type is built on.
//
// Arrays are little-endian (see word.h) and start at any word; lengths count words and may be zero
// unless said otherwise. Nothing outside [0, n) is read or written. Where the target has a 128-bit
// product the loops run on 64-bit limbs, else on words; the results are the same.
// Overlap: unless said otherwise the target may be an operand itself (the same first word) or start
// below it, since the loops run upwards; it may not start above.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/word.h"

namespace nmp::words {

/// c = a + b and c = a - b, modulo 2^(32 n). Return the carry or borrow, 0 or 1.
Word add_n(Word* c, const Word* a, const Word* b, std::size_t n);
Word sub_n(Word* c, const Word* a, const Word* b, std::size_t n);

/// c = a + w and c = a - w. Return the carry or borrow; for n = 0 that is w itself.
Word add_1(Word* c, const Word* a, std::size_t n, Word w);
Word sub_1(Word* c, const Word* a, std::size_t n, Word w);

/// a += 1 and a -= 1 in place, ending where the carry dies. Return what leaves the top, 0 or 1
/// (1 for n = 0).
Word increment(Word* a, std::size_t n);
Word decrement(Word* a, std::size_t n);

/// c[i] = ~a[i].
void complement(Word* c, const Word* a, std::size_t n);

/// c = a w, c += a w and c -= a w, modulo 2^(32 n). Return the word that belongs above.
Word mul_1(Word* c, const Word* a, std::size_t n, Word w);
Word addmul_1(Word* c, const Word* a, std::size_t n, Word w);
Word submul_1(Word* c, const Word* a, std::size_t n, Word w);

/// The same with a factor of two words. Return the two words that belong above.
DoubleWord mul_2(Word* c, const Word* a, std::size_t n, DoubleWord x);
DoubleWord addmul_2(Word* c, const Word* a, std::size_t n, DoubleWord x);

/// c[0, al + bl) = a b, schoolbook. al >= bl >= 1; c overlaps neither operand.
void mul_schoolbook(Word* c, const Word* a, std::size_t al, const Word* b, std::size_t bl);

/// Divides (remainder 2^(32 n) + a) by w: writes n quotient words, returns the new remainder.
/// remainder < w. A null `a` stands for n zero words, which continues a quotient below the point.
/// Runs downwards: q may be a itself or start above it.
/// Source: N. Moller and T. Granlund, Improved division by invariant integers, 2011.
Word divrem_1(Word* q, const Word* a, std::size_t n, Word w, Word remainder = 0);

/// c = a 2^bits modulo 2^(32 n), 0 <= bits < 32; returns the bits shifted out. Runs downwards: c
/// may be a itself or start above it.
Word lshift(Word* c, const Word* a, std::size_t n, unsigned bits);

/// -1, 0 or 1 as a is below, equal to or above b.
int compare(const Word* a, const Word* b, std::size_t n);
/// The same for numbers aligned at their tops, as fractions: the shorter one continues with zeros.
int compare_tops(const Word* a, std::size_t al, const Word* b, std::size_t bl);

/// Any overlap.
void copy(Word* target, const Word* source, std::size_t n);
void zero(Word* target, std::size_t n);

/// n less the zero words at the top of a.
std::size_t stripped_length(const Word* a, std::size_t n);
/// The number of zero words at the bottom of a; n when all are zero.
std::size_t low_zero_words(const Word* a, std::size_t n);
/// Whether every word of a is `w`. Returns at the first that is not.
bool all_equal(const Word* a, std::size_t n, Word w);

}  // namespace nmp::words
