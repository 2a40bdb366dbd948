// Leaves of 16 points for vectors of 4 lanes: a step across four vectors, a transposition, a step
// in which each lane is a node. The last transposition is left out.

template <bool kForward>
inline void leaf_step(Points<V4> (&a)[4], const Points<V4> (&w)[4]) {
  if constexpr (kForward) {
    for (unsigned p = 1; p < 4; ++p) a[p] = times(a[p], w[p]);
  }
  dft4<kForward>(a[0], a[1], a[2], a[3]);
  if constexpr (!kForward) {
    for (unsigned p = 1; p < 4; ++p) a[p] = times_conjugate(a[p], w[p]);
  }
}

template <bool kForward>
inline void run_leaves(double* x, std::size_t blocks, const double* t) {
  using P = Points<V4>;
  for (; blocks > 0; blocks -= 2, x += 2 * kBlockDoubles, t += 2 * kBlockDoubles) {
    P a[4] = {P::load(x), P::load(x + 4), P::load(x + kBlockDoubles),
              P::load(x + kBlockDoubles + 4)};
    P first[4], second[4];
    for (unsigned p = 1; p < 4; ++p) {
      first[p] = P::all(t + 24 + 2 * (p - 1));
      second[p] = {V4::load(t + 8 * (p - 1)), V4::load(t + 8 * (p - 1) + 4)};
    }
    leaf_step<kForward>(a, kForward ? first : second);
    transpose(a[0].re, a[1].re, a[2].re, a[3].re);
    transpose(a[0].im, a[1].im, a[2].im, a[3].im);
    leaf_step<kForward>(a, kForward ? second : first);
    a[0].store(x);
    a[1].store(x + 4);
    a[2].store(x + kBlockDoubles);
    a[3].store(x + kBlockDoubles + 4);
  }
}

void forward_leaves(double* x, std::size_t blocks, const double* t) {
  run_leaves<true>(x, blocks, t);
}
void inverse_leaves(double* x, std::size_t blocks, const double* t) {
  run_leaves<false>(x, blocks, t);
}
