#include "schedule/drawing/find_shape.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/rpc4/failure.h"
#include "tests/support/records.h"
#include "tests/support/store_test.h"

namespace korvane::schedule::drawing {
namespace {

using namespace model::cad;
using krv::rpc4::BadRequest;
using krv::rpc4::NotFound;
using testing::HasSubstr;
using testing::ThrowsMessage;

class FindShape : public test::StoreTest {
 protected:
  FindShape() {
    material_ = make_material();
    revision_ = make_revision();
  }

  Rebar bar(const std::string& mark, double length) const {
    Rebar item = test::minimal_bar(revision_, material_);
    item.mark = mark;
    GeometryObject leg;
    leg.length.set(length);
    item.geometry.objects = {leg};
    return item;
  }

  FoundShape find(const LineName& name) { return find_shape(project(), name); }
  FoundShape find_mark(const std::string& mark, std::int32_t position = 1) {
    LineName name;
    name.mark = mark;
    name.position = position;
    return find(name);
  }

  std::int32_t material_ = 0;
  std::int32_t revision_ = 0;
};

TEST_F(FindShape, TakesALineByItsId) {
  add({bar("1", 100), bar("2", 200)});
  LineName name;
  name.id = 2;
  EXPECT_EQ(find(name).description, "Mark 2: 200");
  name.id = 3;
  EXPECT_THAT([&] { find(name); }, ThrowsMessage<NotFound>("no bar with the id 3 in this project"));
}

TEST_F(FindShape, TakesALineByItsMarkAndPosition) {
  add({bar("1", 100), bar("2", 200), bar("1", 300)});
  EXPECT_EQ(find_mark("1").description, "Mark 1: 100");
  EXPECT_EQ(find_mark("1", 2).description, "Mark 1: 300");
  EXPECT_THAT(
      [&] { find_mark("1", 3); },
      ThrowsMessage<NotFound>("no bar of mark \"1\" in sheet \"\", revision \"\" at position 3"));
  EXPECT_THAT([&] { find_mark("x' or 1=1 --"); }, ThrowsMessage<NotFound>(HasSubstr("no bar of")));
}

TEST_F(FindShape, KnowsAMarkWithAllThatStandsAroundIt) {
  Rebar item = bar("7", 100);
  item.mark_prefix.set("A");
  item.mark_suffix.set("b");
  item.submark.set("2");
  add({item});
  EXPECT_EQ(find_mark("A7b.2").description, "Mark A7b.2: 100");
  EXPECT_EQ(find_mark("7").description, "Mark A7b.2: 100");
}

TEST_F(FindShape, TakesFabricsFromTheirOwnTable) {
  Fabric fabric = test::minimal_fabric(revision_, make_fabric_type(material_));
  fabric.mark = "1";
  add({fabric});
  LineName name;
  name.is_fabric = true;
  name.mark = "1";
  EXPECT_EQ(find(name).description, "Mark 1");
  name.is_fabric = false;
  EXPECT_THROW(find(name), NotFound);
}

TEST_F(FindShape, AsksForOneRevision) {
  make_revision();
  EXPECT_THAT([&] { find_mark("1"); },
              ThrowsMessage<BadRequest>("2 revisions are meant: name the sheet and the revision"));
}

}  // namespace
}  // namespace korvane::schedule::drawing
