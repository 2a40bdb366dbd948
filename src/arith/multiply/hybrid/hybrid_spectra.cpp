#include "arith/multiply/hybrid/hybrid_spectra.h"

#include <algorithm>
#include <new>

#include "arith/multiply/hybrid/hybrid_plan.h"
#include "arith/multiply/hybrid/hybrid_transform.h"
#include "foundation/exceptions.h"
#include "parallel/context.h"

namespace nmp::hybrid {
namespace {

/// Lines between the planes of a spectrum: planes a power of two apart would fight for the same
/// sets of the caches.
constexpr std::size_t kSkewDoubles = 17 * kBufferAlignment / sizeof(double);

/// What a spectrum begins with. Not in `Spectrum`, of which there may be copies.
struct Header {
  enum Stage : unsigned { kColumns, kRows, kProduct } stage;
};

struct Block {
  Block(const Plan& plan, Carver& memory) {
    header = memory.take<Header>(1);
    for (unsigned k = 0; k < plan.primes; ++k) {
      plane[k] = memory.take<double>(plan.plane_doubles());
      if (k + 1 < plan.primes) memory.take<double>(kSkewDoubles);
    }
  }
  Header* header;
  double* plane[kMaxPrimes];
};

std::size_t block_bytes(const Plan& plan) {
  Carver sum;
  Block(plan, sum);
  return sum.bytes();
}

class HybridSpectra final : public Spectra {
 public:
  HybridSpectra(Context& context, const Kernels& kernels, const Plan& plan,
                const SpectrumShape& shape, PlaneTerm* terms, Carver& memory)
      : transform_(context, kernels, plan, shape.sum, memory), terms_(terms), sum_(shape.sum) {
    wrap_ = plan.words();
    bytes_ = block_bytes(plan);
  }

  void forward(Spectrum& s, const Word* words, std::size_t count) override {
    if (count > wrap_)
      throw InvalidParametersException("Spectra::forward()", "The operand is too long.");
    const Block block = block_of(s);
    for (unsigned k = 0; k < transform_.plan().primes; ++k)
      transform_.load(k, block.plane[k], words, count);
    block.header->stage = Header::kColumns;
  }

  void multiply(Spectrum& s, std::span<const Term> terms) override {
    if (terms.empty() || terms.size() > sum_)
      throw InvalidParametersException("Spectra::multiply()", "Not as many terms as planned.");
    const Block target = block_of(s);
    for (unsigned k = 0; k < transform_.plan().primes; ++k) {
      for (std::size_t i = 0; i < terms.size(); ++i) {
        const Block a = block_of(*terms[i].a), b = block_of(*terms[i].b);
        terms_[i] = {a.plane[k], b.plane[k], is_waiting(a, terms.first(i)),
                     a.plane[k] != b.plane[k] && is_waiting(b, terms.first(i)), terms[i].negative};
      }
      transform_.multiply(k, target.plane[k], terms_, terms.size());
    }
    for (const Term& t : terms)
      for (const Spectrum* operand : {t.a, t.b}) block_of(*operand).header->stage = Header::kRows;
    target.header->stage = Header::kProduct;
  }

  Word inverse(Word* out, std::size_t count, Spectrum& s) override {
    const Block block = block_of(s);
    if (count == 0 || count > wrap_)
      throw InvalidParametersException("Spectra::inverse()", "No such number of words.");
    if (block.header->stage != Header::kProduct)
      throw InvalidParametersException("Spectra::inverse()", "Not a product.");
    transform_.store(out, count, block.plane, Range::kWraps);
    return 0;
  }

 private:
  Block block_of(const Spectrum& s) const {
    Carver memory(AlignedBufferC(s.data, bytes_));
    return Block(transform_.plan(), memory);
  }
  /// Whether the rows are still to be transformed when the terms before have had their turn.
  bool is_waiting(const Block& block, std::span<const Term> before) const {
    if (block.header->stage == Header::kProduct)
      throw InvalidParametersException("Spectra::multiply()", "A product is no operand.");
    if (block.header->stage == Header::kRows) return false;
    const auto* const data = reinterpret_cast<const std::byte*>(block.header);
    return std::none_of(before.begin(), before.end(),
                        [&](const Term& t) { return t.a->data == data || t.b->data == data; });
  }

  Transform transform_;
  PlaneTerm* const terms_;
  const std::size_t sum_;
};

PlaneTerm* take_terms(const SpectrumShape& shape, Carver& memory) {
  return memory.take<PlaneTerm>(shape.sum);
}

Plan plan_for(const SpectrumShape& shape) {
  return best_plan(shape.words, std::min(shape.shorter, shape.words), shape.sum);
}

unsigned slots(unsigned threads) { return std::clamp(threads, 1u, Transform::kMaxSlots); }

bool has_format(const SpectrumShape& shape) {
  return first_format(std::min(shape.shorter, shape.words), shape.sum) < kFormatCount;
}

}  // namespace

SpectraNeed spectra_need(const SpectrumShape& shape, unsigned threads) {
  if (!has_format(shape)) return {};
  const Plan plan = plan_for(shape);
  if (!plan.addressable()) return {};
  Carver own;
  own.take<HybridSpectra>(1);
  take_terms(shape, own);
  const Need transform = Transform::need(plan, shape.sum);
  return {own.bytes() + transform.base + transform.slot * slots(threads), block_bytes(plan),
          plan.words()};
}

Spectra* make_spectra(Context& context, const Kernels& kernels, const SpectrumShape& shape,
                      AlignedBufferC& memory) {
  if (!has_format(shape)) return nullptr;
  const Plan plan = plan_for(shape);
  Carver carver(memory);
  auto* const place = carver.take<HybridSpectra>(1);
  PlaneTerm* const terms = take_terms(shape, carver);
  auto* const spectra = new (place) HybridSpectra(context, kernels, plan, shape, terms, carver);
  (void)memory.spawn(carver.bytes());
  return spectra;
}

}  // namespace nmp::hybrid
