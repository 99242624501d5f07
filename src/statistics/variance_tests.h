#pragma once
// Tails of the distributions by which variances and means of two samples are compared.

namespace kymora {

// P(F <= f) of the F distribution with these degrees of freedom, for f from 0 on.
double FisherLowerTail(double f, double freedom1, double freedom2);

// P(T >= |t|) of Student's distribution.
double StudentUpperTail(double t, double freedom);

}  // namespace kymora
