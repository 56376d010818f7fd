#include "uikit/LinearSystem.h"

#include <algorithm>
#include <cmath>

namespace tasklane::detail {
namespace {
constexpr double kNothing = 1e-9;
}

LinearExpression LinearExpression::variable(std::size_t index) {
  LinearExpression result;
  result.coefficients.resize(index + 1);
  result.coefficients[index] = 1;
  return result;
}

LinearExpression& LinearExpression::add(const LinearExpression& other, double factor) {
  coefficients.resize(std::max(coefficients.size(), other.coefficients.size()));
  for (std::size_t i = 0; i < other.coefficients.size(); ++i) {
    coefficients[i] += other.coefficients[i] * factor;
    if (std::abs(coefficients[i]) < kNothing) coefficients[i] = 0;
  }
  constant += other.constant * factor;
  return *this;
}

LinearExpression LinearExpression::operator+(const LinearExpression& other) const {
  return LinearExpression(*this).add(other);
}

LinearExpression LinearExpression::operator-(const LinearExpression& other) const {
  return LinearExpression(*this).add(other, -1);
}

LinearExpression LinearExpression::operator*(double factor) const {
  return LinearExpression(0).add(*this, factor);
}

LinearExpression LinearSystem::reduce(const LinearExpression& expression) const {
  LinearExpression result(expression.constant);
  result.coefficients.resize(solved_.size());
  for (std::size_t i = 0; i < expression.coefficients.size(); ++i) {
    const double factor = expression.coefficients[i];
    if (factor == 0) continue;
    if (isSolved_[i]) {
      result.add(solved_[i], factor);
    } else {
      result.coefficients[i] += factor;
    }
  }
  return result;
}

bool LinearSystem::addEquation(const LinearExpression& expression) {
  LinearExpression known = reduce(expression);
  const auto largest =
      std::max_element(known.coefficients.begin(), known.coefficients.end(),
                       [](double a, double b) { return std::abs(a) < std::abs(b); });
  if (largest == known.coefficients.end() || std::abs(*largest) < kNothing) {
    return std::abs(known.constant) < 1e-6;
  }
  const auto pivot = static_cast<std::size_t>(largest - known.coefficients.begin());
  const double factor = *largest;
  known.coefficients[pivot] = 0;
  solved_[pivot] = known * (-1 / factor);
  isSolved_[pivot] = true;
  for (std::size_t i = 0; i < solved_.size(); ++i) {
    if (!isSolved_[i] || i == pivot) continue;
    const double share = solved_[i].coefficient(pivot);
    if (share == 0) continue;
    solved_[i].coefficients[pivot] = 0;
    solved_[i].add(solved_[pivot], share);
  }
  return true;
}

}  // namespace tasklane::detail
