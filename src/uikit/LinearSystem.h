#pragma once

#include <vector>

namespace tasklane::detail {

/// A sum of multiples of variables (numbered from 0) and a constant.
struct LinearExpression {
  explicit LinearExpression(double value = 0) : constant(value) {}
  static LinearExpression variable(std::size_t index);
  LinearExpression& add(const LinearExpression& other, double factor = 1);
  LinearExpression operator+(const LinearExpression& other) const;
  LinearExpression operator-(const LinearExpression& other) const;
  LinearExpression operator*(double factor) const;
  double coefficient(std::size_t index) const {
    return index < coefficients.size() ? coefficients[index] : 0;
  }

  std::vector<double> coefficients;
  double constant;
};

/// Equations over a fixed number of variables, taken in one by one and solved by elimination. An
/// equation that contradicts the earlier ones is refused, so the order of adding is the order of
/// precedence.
class LinearSystem {
 public:
  explicit LinearSystem(std::size_t variables) : solved_(variables), isSolved_(variables, false) {}

  /// Takes in "expression = 0"; false when it contradicts what is known.
  bool addEquation(const LinearExpression& expression);
  /// What is known of an expression: in terms of the variables that are still free.
  LinearExpression reduce(const LinearExpression& expression) const;
  /// The value of an expression once no variable in it is free.
  double value(const LinearExpression& expression) const { return reduce(expression).constant; }

 private:
  std::vector<LinearExpression> solved_;  ///< each in terms of free variables only
  std::vector<bool> isSolved_;
};

}  // namespace tasklane::detail
