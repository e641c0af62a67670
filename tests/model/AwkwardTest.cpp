// The awkward-names model builds, and its functions reach the attributes
// they are named after, directly and through generic access (whose own
// parameters share some of those names).
#include <gtest/gtest.h>

#include <ipmodel/test/Awkward.h>

namespace {

using namespace Awkward;

TEST(AwkwardNames, ValuesKeepTheirFieldsApart) {
  Span s(3, 9);
  s.inIs(4);
  s.oIs(5);
  EXPECT_EQ(s.begin(), 3u);
  EXPECT_EQ(s.end(), 9u);
  EXPECT_EQ(s.in(), 4u);
  EXPECT_EQ(s.o(), 5u);
  EXPECT_EQ(s.v(), Kind::entity);
  const std::string text = Orv::valueToStrep(s);
  EXPECT_EQ(Span(text.begin(), text.end()), s);
  EXPECT_LT(Span(3, 9), Span(3, 10));
  EXPECT_EQ(Orv::valueToStrep(Word("w")), "w");
  EXPECT_EQ(stringValue(Kind::none), "None");
}

TEST(AwkwardNames, GenericAccessCallsTheAttributeNotItsOwnParameter) {
  auto box = boxFactory("b");
  auto t = box->kIs(4);
  t->nInc(2);
  Orv::AttrArg a;
  EXPECT_EQ(t->orvAttr(Orv::AttrOp::get, Thing::orvType.attr("op")->id, a), 0);
  EXPECT_EQ(a.value.as<std::uint32_t>(), 6u);
  EXPECT_EQ(t->orvAttr(Orv::AttrOp::get, Thing::orvType.attr("id")->id, a), 0);
  EXPECT_EQ(a.value.as<std::uint32_t>(), 7u);
  EXPECT_EQ(t->orvAttr(Orv::AttrOp::get, Thing::orvType.attr("arg")->id, a), 0);
  EXPECT_EQ(a.value.as<std::uint16_t>(), 3u);
  EXPECT_THROW(t->sizeIs(4), Orv::RangeException);

  a.key = std::uint32_t{4};
  EXPECT_EQ(box->orvAttr(Orv::AttrOp::collGet, Box::orvType.attr("k")->id, a), 0);
  EXPECT_EQ(a.value.as<Thing::Ptr>(), t);
  // Tools reach the member entity without knowing its type; other values
  // name none.
  EXPECT_EQ(a.value.entity(), t.ptr());
  EXPECT_EQ(Orv::Value(std::uint32_t{4}).entity(), nullptr);
  a.key = std::string("x");
  EXPECT_EQ(box->orvAttr(Orv::AttrOp::collSet, Box::orvType.attr("id")->id, a), 0);
  EXPECT_TRUE(box->id("x"));
}

TEST(AwkwardNames, CreatingFunctionsTakeParametersNamedLikeTheirLocals) {
  auto box = boxFactory("b");
  auto part = box->aIs(1, 2);
  EXPECT_EQ(part->k(), 1u);
  EXPECT_EQ(part->p(), 2u);
  EXPECT_EQ(box->aIs(1, 2), part);
  EXPECT_THROW(box->aIs(1, 3), Orv::NameInUseException);
  box->aDelAll();
}

TEST(AwkwardNames, MachineReactorsAndCounterNamedLikeAccessParameters) {
  auto box = boxFactory("b");
  auto t = box->kIs(8);
  auto w = watchFactory(box);
  w->argIs(t);
  EXPECT_EQ(w->arg(8)->notifier(), t);
  w->opInc(3);
  EXPECT_EQ(w->op(), 3u);
  w->argDelAll();
  box->kDelAll();
}

}  // namespace
