#include "statistics/variance_tests.h"

#include <boost/math/special_functions/beta.hpp>

namespace kymora {

double FisherLowerTail(double f, double freedom1, double freedom2) {
    return boost::math::ibeta(freedom1 / 2.0, freedom2 / 2.0, freedom1 * f / (freedom1 * f + freedom2));
}

double StudentUpperTail(double t, double freedom) {
    return 0.5 * boost::math::ibeta(freedom / 2.0, 0.5, freedom / (freedom + t * t));
}

}  // namespace kymora
