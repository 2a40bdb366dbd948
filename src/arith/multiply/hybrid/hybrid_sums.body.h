// Sums of products point by point. Included by the file of one instruction set, inside its unnamed
// namespace, after hybrid_passes.body.h.

void multiply(double* out, const double* a, const double* b, std::size_t n, double factor,
              Modulus modulus) {
  const Mod m(modulus);
  const V f = V::all(factor);
  for (std::size_t i = 0; i < n; i += V::kLanes) {
    const V y = m.mul(V::load(b + i), f);
    m.mul(V::load(a + i), y).store(out + i);
  }
}

void multiply_add(double* out, const double* a, const double* b, std::size_t n, double factor,
                  Modulus modulus) {
  const Mod m(modulus);
  const V f = V::all(factor);
  for (std::size_t i = 0; i < n; i += V::kLanes) {
    const V y = m.mul(V::load(b + i), f);
    m.reduce(V::load(out + i) + m.mul(V::load(a + i), y)).store(out + i);
  }
}
