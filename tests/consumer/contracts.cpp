// A record to bytes and to JSON, and back.
#include <iostream>

#include "contracts/cad/sheet.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"

int main() {
  korvane::model::cad::Sheet sheet;
  sheet.name = "417";
  const bool is_same =
      korvane::encoding::decode<korvane::model::cad::Sheet>(korvane::encoding::encode(sheet)) ==
          sheet &&
      korvane::encoding::from_json<korvane::model::cad::Sheet>(korvane::encoding::to_json(sheet)) ==
          sheet;
  std::cout << (is_same ? "the same\n" : "not the same\n");
  return is_same ? 0 : 1;
}
