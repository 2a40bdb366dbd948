#include "arith/basic_int.h"

#include <algorithm>

#include "arith/hash61.h"
#include "arith/product.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

void need_words(const char* function, const BasicInt& x, std::uint64_t words) {
  if (x.buffer_size < words) throw BufferTooSmallException(function, x.buffer_size, words);
}
[[noreturn]] void throw_zero(const char* function) {
  throw UnsupportedZeroException(function, "Zero was encountered.");
}
[[noreturn]] void throw_negative(const char* function) {
  throw UnsupportedNegativeException(function, "A negative value was encountered.");
}
void need_nonzero(const char* function, const BasicInt& x) {
  if (x.L == 0) throw_zero(function);
}

/// r = a b, checked for room.
void multiply_into(const char* function, Context& context, BasicInt& r, const BasicInt& a,
                   const BasicInt& b, AlignedBufferC scratch) {
  need_nonzero(function, a);
  need_nonzero(function, b);
  const std::uint64_t words = std::uint64_t{a.L} + b.L;
  need_words(function, r, words);
  product(context, r.T, a.T, a.L, b.T, b.L, scratch);
  r.L = static_cast<std::uint32_t>(words) - (r.T[words - 1] == 0);
  r.hash = hash61::multiply(a.hash, b.hash);
}

}  // namespace

void BasicInt::set_u64(std::uint64_t x) {
  if (x == 0) throw_zero("BasicInt::set_u64()");
  const std::uint32_t words = x >> kWordBits != 0 ? 2 : 1;
  need_words("BasicInt::set_u64()", *this, words);
  T[0] = static_cast<Word>(x);
  if (words == 2) T[1] = static_cast<Word>(x >> kWordBits);
  L = words;
  hash = hash61::fold(x);
}

void BasicInt::set_BasicInt(const BasicInt& x) {
  need_nonzero("BasicInt::set_BasicInt()", x);
  need_words("BasicInt::set_BasicInt()", *this, x.L);
  words::copy(T, x.T, x.L);
  L = x.L;
  hash = x.hash;
}

void BasicInt::mul_uW(Word w) {
  if (w == 0 || L == 0) throw_zero("BasicInt::mul_uW()");
  need_words("BasicInt::mul_uW()", *this, std::uint64_t{L} + 1);
  T[L] = words::mul_1(T, T, L, w);
  L += T[L] != 0;
  hash = hash61::multiply(hash, w);
}

void BasicInt::mul_u64(std::uint64_t x) {
  if (x == 0 || L == 0) throw_zero("BasicInt::mul_u64()");
  need_words("BasicInt::mul_u64()", *this, std::uint64_t{L} + 2);
  store_limb(T + L, words::mul_2(T, T, L, x));
  L = static_cast<std::uint32_t>(words::stripped_length(T, L + std::size_t{2}));
  hash = hash61::multiply(hash, hash61::fold(x));
}

BasicInt& BasicInt::operator+=(const BasicInt& x) {
  constexpr const char* kFunction = "BasicInt::operator+=()";
  if (L == 0 || x.L == 0)
    throw InvalidParametersException(kFunction, "Invalid Function Parameters:");
  const std::uint32_t common = std::min(L, x.L), longer = std::max(L, x.L);
  need_words(kFunction, *this, std::uint64_t{longer} + 1);
  const Word carry = words::add_n(T, T, x.T, common);
  T[longer] = words::add_1(T + common, (L < x.L ? x.T : T) + common, longer - common, carry);
  L = longer + (T[longer] != 0);
  hash = hash61::add(hash, x.hash);
  return *this;
}

BasicInt& BasicInt::operator-=(const BasicInt& x) {
  constexpr const char* kFunction = "BasicInt::operator-=()";
  need_words(kFunction, *this, std::uint64_t{L} + 1);
  if (L < x.L) throw_negative(kFunction);
  T[L] = 1;  // stops the borrow of a negative difference
  if (words::sub_n(T, T, x.T, x.L) != 0) words::decrement(T + x.L, std::size_t{L} + 1 - x.L);
  if (T[L] == 0) throw_negative(kFunction);
  L = static_cast<std::uint32_t>(words::stripped_length(T, L));
  if (L == 0) throw_zero(kFunction);
  hash = hash61::subtract(hash, x.hash);
  return *this;
}

void BasicInt::set_sqrB(Context& context, const BasicInt& x, AlignedBufferC scratch) {
  multiply_into("BasicInt::set_sqrB()", context, *this, x, x, scratch);
}

void BasicIntR::set_mulB(Context& context, const BasicInt& a, const BasicInt& b,
                         AlignedBufferC scratch) {
  multiply_into("BasicIntR::set_mulB()", context, *this, a, b, scratch);
}

BasicIntO::BasicIntO(std::uint32_t words) : storage_(new Word[words]) {
  T = storage_.get();
  buffer_size = words;
}

}  // namespace nmp
