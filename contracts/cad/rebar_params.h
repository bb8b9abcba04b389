#pragma once

#include "bond/nullable.h"

namespace korvane::model::cad {

/// The dimensions of a bar or fabric by letter.
struct RebarParams {
  bond::nullable<double> a;
  bond::nullable<double> b;
  bond::nullable<double> c;
  bond::nullable<double> d;
  bond::nullable<double> e;
  bond::nullable<double> f;
  bond::nullable<double> r;

  bool operator==(const RebarParams&) const = default;
};

}  // namespace korvane::model::cad
