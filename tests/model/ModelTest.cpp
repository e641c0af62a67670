// Behaviour of generated model code, exercised through the test model:
// setters, range checks, every collection kind, instantiation, notification
// order and reentrancy, text and attribute-log forms, generic access.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <ipmodel/test/Kitchen.h>
#include <ipmodel/test/KitchenBag.h>

namespace {

using Kitchen::Item;
using Lumen::IntfId;
using Lumen::IpAddr;
using Lumen::IpAddrWithMask;

// Records every notification of an Item as a short text.
class ItemLog : public Item::NotifieeConst {
 public:
  std::vector<std::string> log;
  void onFlag() override { log.push_back("flag"); }
  void onSmall() override { log.push_back("small"); }
  void onHolder() override { log.push_back("holder"); }
  void onOrdMap(const IpAddrWithMask& k) override {
    log.push_back("ordMap " + Orv::valueToStrep(k));
  }
  void onOrdMaporvImmediate() override { log.push_back("ordMap immediate"); }
  void onHashSet(const Kitchen::Pair& k) override { log.push_back("hashSet " + k.name()); }
  void onGroups(const IpAddr& k) override { log.push_back("groups " + Orv::valueToStrep(k)); }
  void onRefs(const IntfId& k) override { log.push_back("refs " + k.stringValue()); }
};

IpAddrWithMask am(const char* t) { return IpAddrWithMask(t); }

TEST(ModelSetter, DefaultsOfAFreshEntity) {
  auto item = Kitchen::itemFactory(IntfId("Ethernet1"));
  EXPECT_EQ(item->id(), IntfId("Ethernet1"));
  EXPECT_EQ(item->addr(), IpAddrWithMask());
  EXPECT_TRUE(item->flag());
  EXPECT_EQ(item->colour(), Kitchen::Colour::green);
  EXPECT_EQ(item->limit(), 10);
  EXPECT_EQ(item->small(), 5);
  EXPECT_EQ(item->text(), "00cli");
  EXPECT_EQ(item->pair().weight(), 1.5);
  EXPECT_FALSE(item->holder());
  EXPECT_EQ(Item::limitMax(), 1000);
  EXPECT_TRUE(item->notificationActive());
  EXPECT_EQ(item->fullName(), "/Ethernet1");
  EXPECT_EQ(item->name(), "");
}

TEST(ModelSetter, NotifiesOnlyOnRealChange) {
  auto item = Kitchen::itemFactory(IntfId("Ethernet1"));
  ItemLog r;
  r.notifierIs(item);
  item->flagIs(true);  // current value
  EXPECT_TRUE(r.log.size() == 1 && r.log[0] == "ordMap immediate");
  r.log.clear();
  item->flagIs(false);
  item->flagIs(false);
  item->flagIs(true);
  EXPECT_EQ(r.log, (std::vector<std::string>{"flag", "flag"}));
  r.notifierIs(nullptr);
  item->flagIs(false);
  EXPECT_EQ(r.log.size(), 2u);
}

TEST(ModelSetter, RangeWithAFloorRefusesBothEnds) {
  auto item = Kitchen::itemFactory(IntfId("e"));
  EXPECT_EQ(item->floor(), 3);
  item->floorIs(2);
  item->floorIs(9);
  for (std::uint16_t v : {1, 10}) {
    try {
      item->floorIs(v);
      ADD_FAILURE() << "no exception for " << v;
    } catch (const Orv::RangeException& e) {
      EXPECT_STREQ(e.what(), "Item::floor < 2 or > 9 not allowed");
    }
    EXPECT_EQ(item->floor(), v);  // the refused value is kept, as for any range
  }
}

TEST(ModelSetter, RangeFailureKeepsTheValueAndNotifiesNobody) {
  auto item = Kitchen::itemFactory(IntfId("Ethernet1"));
  ItemLog r;
  r.notifierIs(item);
  r.log.clear();
  try {
    item->smallIs(1001);
    FAIL() << "no exception";
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(), "Item::small < 0 or > Item::limitMax not allowed");
  }
  EXPECT_EQ(item->small(), 1001);
  EXPECT_TRUE(r.log.empty());
  item->smallIs(1001);  // equal to the stored value: quiet
  item->smallIs(1000);
  EXPECT_EQ(r.log, (std::vector<std::string>{"small"}));
}

TEST(ModelNotifiee, VisitsInAttachOrderAndToleratesDetachDuringNotification) {
  auto item = Kitchen::itemFactory(IntfId("e"));
  struct Detacher : Item::NotifieeConst {
    std::vector<int>* order;
    int id;
    Item::NotifieeConst* victim = nullptr;
    void onFlag() override {
      order->push_back(id);
      if (victim) {
        static_cast<Detacher*>(victim)->notifierIs(nullptr);
      }
    }
  };
  std::vector<int> order;
  Detacher a, b, c;
  a.order = b.order = c.order = &order;
  a.id = 1, b.id = 2, c.id = 3;
  a.notifierIs(item);
  b.notifierIs(item);
  c.notifierIs(item);
  std::vector<const Orv::NotifieeConst*> listed;
  for (const Orv::NotifieeConst& n : item->notifieeList()) listed.push_back(&n);
  EXPECT_EQ(listed, (std::vector<const Orv::NotifieeConst*>{&a, &b, &c}));
  b.victim = &c;  // b detaches c, which was about to be visited
  item->flagIs(false);
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  {
    Detacher d;
    d.order = &order;
    d.id = 4;
    d.notifierIs(item);
  }  // destruction detaches
  EXPECT_EQ(item->notifieeCount(), 2u);
  a.notifierIs(nullptr);
  b.notifierIs(nullptr);
  EXPECT_TRUE(item->notifieeList().empty());
}

TEST(ModelNotifiee, NotifieeKeepsItsNotifierAlive) {
  ItemLog r;
  {
    auto item = Kitchen::itemFactory(IntfId("e"));
    r.notifierIs(item);
  }
  ASSERT_TRUE(r.notifier());
  EXPECT_EQ(r.notifier()->id(), IntfId("e"));
  r.notifierIs(nullptr);  // frees the item
}

TEST(ModelCollection, OrderedMapInsertUpdateAndRemove) {
  auto item = Kitchen::itemFactory(IntfId("e"));
  ItemLog r;
  r.notifierIs(item);
  r.log.clear();
  item->ordMapIs(am("10.0.0.2/24"), true);
  item->ordMapIs(am("10.0.0.2/24"), true);  // same flag: quiet
  item->ordMapIs(am("10.0.0.2/24"), false);
  item->ordMapIs(am("10.0.0.1/24"), true);
  EXPECT_FALSE(item->ordMapDel(am("10.9.9.9/8")));  // absent: default, quiet
  EXPECT_EQ(r.log, (std::vector<std::string>{"ordMap 10.0.0.2/24", "ordMap 10.0.0.2/24",
                                             "ordMap 10.0.0.1/24"}));
  std::vector<std::string> keys;
  for (auto it = item->ordMap().begin(); it != item->ordMap().end(); ++it) {
    keys.push_back(Orv::valueToStrep(it.key()));
  }
  EXPECT_EQ(keys, (std::vector<std::string>{"10.0.0.1/24", "10.0.0.2/24"}));
  EXPECT_TRUE(item->ordMapDel(am("10.0.0.1/24")));
  EXPECT_FALSE(item->ordMap(am("10.0.0.2/24")));
  r.log.clear();
  item->ordMapDelAll();
  EXPECT_EQ(r.log, (std::vector<std::string>{"ordMap 10.0.0.2/24"}));
  item->ordMapDelAll();  // empty: nothing
  EXPECT_EQ(r.log.size(), 1u);
}

TEST(ModelCollection, DelAllWithAReactorThatChangesTheCollection) {
  auto item = Kitchen::itemFactory(IntfId("e"));
  for (const char* a : {"10.0.0.2/32", "10.0.0.4/32", "10.0.0.6/32"}) item->ordMapIs(am(a), true);
  struct Meddler : Item::Notifiee {
    std::vector<std::string> seen;
    bool done = false;
    void onOrdMap(const IpAddrWithMask& k) override {
      seen.push_back(Orv::valueToStrep(k));
      if (done) return;
      done = true;
      auto n = notifier();
      n->ordMapIs(am("10.0.0.1/32"), true);  // before the removed key: survives
      n->ordMapIs(am("10.0.0.5/32"), true);  // after it: removed by the walk
      n->ordMapDel(am("10.0.0.4/32"));       // the next member goes early
    }
  } m;
  m.notifierIs(item);
  item->ordMapDelAll();
  EXPECT_EQ(m.seen, (std::vector<std::string>{"10.0.0.2/32", "10.0.0.1/32", "10.0.0.5/32",
                                              "10.0.0.4/32", "10.0.0.5/32", "10.0.0.6/32"}));
  ASSERT_EQ(item->ordMap().size(), 1u);
  EXPECT_TRUE(item->ordMap(am("10.0.0.1/32")));
}

TEST(ModelCollection, SetsValuesByAttributeAndPointers) {
  auto item = Kitchen::itemFactory(IntfId("e"));
  ItemLog r;
  r.notifierIs(item);
  r.log.clear();
  item->hashSetIs(Kitchen::Pair("a", 1));
  item->hashSetIs(Kitchen::Pair("a", 1));
  EXPECT_TRUE(item->hashSet(Kitchen::Pair("a", 1)));
  EXPECT_FALSE(item->hashSetDel(Kitchen::Pair("b", 1)));
  Kitchen::Group g(IpAddr("224.0.0.5"));
  g.memberIs("ospf");
  item->groupsIs(g);
  item->groupsIs(g);  // equal: quiet
  g.memberIs("pim");
  item->groupsIs(g);  // same key, different set: replaced
  EXPECT_TRUE(item->groups(IpAddr("224.0.0.5")).member("pim"));

  try {
    item->refsIs(nullptr);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(), "null _refs parameter to mutator for Kitchen::Item::refs not allowed\"");
  }
  EXPECT_TRUE(item->refs().empty());
  auto h1 = Kitchen::holderFactory(IntfId("h"));
  auto h2 = Kitchen::holderFactory(IntfId("h"));
  item->refsIs(h1);
  item->refsIs(h1);  // same pointer: quiet
  item->refsIs(h2);  // same key, another entity: replaced
  EXPECT_EQ(item->refs(IntfId("h")), h2);
  EXPECT_EQ(r.log, (std::vector<std::string>{"hashSet a", "groups 224.0.0.5", "groups 224.0.0.5",
                                             "refs h", "refs h"}));
  EXPECT_EQ(item->refsDel(IntfId("h")), h2);
  EXPECT_EQ(h2->references(), 1u);  // the collection let go
}

TEST(ModelInstantiating, FindOrCreateReinstantiationAndParents) {
  auto root = Kitchen::rootFactory("root");
  auto owner = Kitchen::holderFactory(IntfId("o1"));
  auto other = Kitchen::holderFactory(IntfId("o2"));
  struct RootLog : Kitchen::Root::NotifieeConst {
    int leaf = 0;
    void onLeaf(const IntfId&) override { ++leaf; }
  } rl;
  rl.notifierIs(root);
  auto a = root->leafIs(IntfId("Ethernet1"), owner);
  auto b = root->leafIs(IntfId("Ethernet1"), owner);
  EXPECT_EQ(a, b);
  EXPECT_EQ(rl.leaf, 1);
  EXPECT_EQ(a->parent(), root.ptr());
  EXPECT_EQ(a->parentAttrName(), "leaf");
  EXPECT_EQ(a->fullName(), "/root/leaf/Ethernet1");
  try {
    root->leafIs(IntfId("Ethernet1"), other);
    FAIL();
  } catch (const Orv::NameInUseException& e) {
    EXPECT_EQ(std::string(e.what()),
              "Reinstantiating the entity with fullName /root/leaf/Ethernet1 where constructor "
              "parameter attribute 'owner' has a different value of /o2 than the current value of "
              "/o1 not allowed");
  }
  EXPECT_EQ(root->leaf(IntfId("Ethernet1")), a);
  EXPECT_EQ(rl.leaf, 1);

  // Callers iterate members without seeing the container: non-const
  // iteration reaches the members' setters, const iteration reads them.
  root->leafIs(IntfId("Ethernet2"), owner);
  for (Kitchen::Leaf& leaf : root->leaf()) leaf.levelIs(7);
  const Kitchen::Root& croot = *root;
  int seen = 0;
  for (const Kitchen::Leaf& leaf : croot.leaf()) seen += leaf.level();
  EXPECT_EQ(seen, 14);
  EXPECT_EQ(croot.leaf().size(), 2u);
  EXPECT_TRUE(croot.leaf().contains(IntfId("Ethernet2")));
  root->leafDel(IntfId("Ethernet2"));
  a->levelIs(0);
  rl.leaf = 1;

  // Removal drops the collection's reference only; the holder keeps it.
  EXPECT_EQ(root->leafDel(IntfId("Ethernet1")), a);
  EXPECT_EQ(rl.leaf, 2);
  EXPECT_EQ(a->parent(), nullptr);
  EXPECT_EQ(a->level(), 0);
  EXPECT_FALSE(root->leafDel(IntfId("Ethernet1")));

  auto h = root->holderIs(IntfId("h1"));
  EXPECT_EQ(root->holderIs(IntfId("h1")), h);
  root->itemIs(IntfId("i1"));
  rl.notifierIs(nullptr);  // the notifiee held the root too
  root = nullptr;          // members outlive their parent when held elsewhere
  EXPECT_EQ(h->parent(), nullptr);
  EXPECT_EQ(h->fullName(), "/h1");
}

TEST(ModelValue, TextFormRoundTripAndReaderErrors) {
  Kitchen::Pair p("x y", 7);
  p.weightIs(0.25);
  std::string t = Orv::valueToStrep(p);
  EXPECT_EQ(t, "Value('Kitchen::Pair', ** {'name': x y, 'number': 7, 'weight': 0.25})");
  EXPECT_EQ(Orv::strepToValue<Kitchen::Pair>(t), p);
  try {
    Orv::strepToValue<Kitchen::Pair>(
        "Value('Kitchen::Pair', ** {'name': a, 'number': seven, 'weight': 1})");
    FAIL();
  } catch (const Orv::StrepReadException& e) {
    EXPECT_EQ(e.attribute(), "number");
  }
  EXPECT_THROW(Orv::strepToValue<Kitchen::Pair>(t + " "), Orv::StrepReadException);
  EXPECT_THROW(Orv::strepToValue<Kitchen::Pair>("Value('Kitchen::Other', ** {})"),
               Orv::StrepReadException);
  EXPECT_TRUE(!Kitchen::Pair());
  EXPECT_FALSE(!p);
  EXPECT_TRUE(Kitchen::Pair("a", 9) < Kitchen::Pair("b", 1));
  EXPECT_TRUE(Kitchen::Pair("a", 1) < Kitchen::Pair("a", 2));
}

TEST(ModelValue, AttributeLogRoundTripAndBadBytes) {
  Kitchen::Group g(IpAddr("224.0.0.9"));
  g.memberIs("a");
  g.memberIs("b");
  auto out = Orv::NboAttrLog::Out::outIs();
  out << g << Kitchen::Colour::blue << Kitchen::Pair("n", 3);
  Orv::NboAttrLog::In in(out->bytes());
  Kitchen::Group g2(in);
  Kitchen::Colour c;
  in >> c;
  Kitchen::Pair p(in);
  EXPECT_EQ(g2, g);
  EXPECT_EQ(c, Kitchen::Colour::blue);
  EXPECT_EQ(p, Kitchen::Pair("n", 3));
  EXPECT_TRUE(in.atEnd());

  auto bytes = out->bytes();
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    Orv::NboAttrLog::In part(bytes.data(), cut);
    EXPECT_THROW(
        {
          Kitchen::Group x(part);
          Kitchen::Colour y;
          part >> y;
          Kitchen::Pair z(part);
        },
        Orv::NboAttrLogException);
  }
  auto bad = Orv::NboAttrLog::Out::outIs();
  bad->writeU32(3);  // not a Colour
  Orv::NboAttrLog::In bin(bad->bytes());
  EXPECT_THROW(bin >> c, Orv::NboAttrLogException);
}

TEST(ModelValueDeathTest, CollectionValuesHaveNoTextReaderAndNoDefaultKeys) {
  EXPECT_DEATH(Orv::strepToValue<Kitchen::Group>("Value('Kitchen::Group', ** {})"),
               "No String constructor for Group - has collection");
  Kitchen::Group g(IpAddr("224.0.0.9"));
  g.memberIs("");
  auto out = Orv::NboAttrLog::Out::outIs();
  EXPECT_DEATH(out << g, "Default key not supported in collection inside nominal\n");
}

TEST(ModelValueDeathTest, PointerValuesPrintTheEntityButHaveNoReaders) {
  auto root = Kitchen::rootFactory("r");
  Kitchen::Cursor c(root->holderIs(IntfId("h")));
  c.atIs(2);
  EXPECT_EQ(Orv::valueToStrep(c), "Value('Kitchen::Cursor', ** {'holder': /r/holder/h, 'at': 2})");
  EXPECT_EQ(Orv::valueToStrep(Kitchen::Cursor()),
            "Value('Kitchen::Cursor', ** {'holder': null, 'at': 0})");
  EXPECT_FALSE(c == Kitchen::Cursor(c.holder()));
  c.holderIs(nullptr);
  c.atIs(0);
  EXPECT_TRUE(!c);
  EXPECT_DEATH(Orv::strepToValue<Kitchen::Cursor>("Value('Kitchen::Cursor', ** {})"),
               "No String constructor for Cursor - has pointer");
  auto out = Orv::NboAttrLog::Out::outIs();
  EXPECT_DEATH(*out << c, "No attribute-log form for Cursor - has pointer");
}

TEST(ModelEnum, OperationsLookUpTheEnumeratorTable) {
  EXPECT_EQ(Kitchen::ColourInstance(7u), Kitchen::Colour::blue);
  EXPECT_EQ(Kitchen::ColourInstance(Orv::String("green")), Kitchen::Colour::green);
  EXPECT_EQ(stringValue(Kitchen::Colour::red), "red");
  EXPECT_EQ(Orv::valueToStrep(Kitchen::Colour::blue), "blue");
  EXPECT_THROW(Kitchen::ColourInstance(2u), Orv::RangeException);
  EXPECT_THROW(Kitchen::ColourInstance(Orv::String("Blue")), Orv::RangeException);
  EXPECT_EQ(Orv::strepToValue<Kitchen::Colour>("blue"), Kitchen::Colour::blue);
  EXPECT_THROW(Orv::strepToValue<Kitchen::Colour>("purple"), Orv::StrepReadException);
  const Orv::TypeDesc& d = Kitchen::_orvType_Colour;
  EXPECT_STREQ(d.name, "Kitchen::Colour");
  EXPECT_EQ(d.enumeratorCount, 3);
  EXPECT_EQ(d.valueWidth, 4);
}

TEST(ModelGenericAccess, ReadsAndWritesByIdentifier) {
  auto item = Kitchen::itemFactory(IntfId("e"));
  Orv::AttrArg a;
  const auto* flag = Item::orvType.attr("flag");
  ASSERT_NE(flag, nullptr);
  EXPECT_EQ(flag->id, 260);
  EXPECT_EQ(item->orvAttr(Orv::AttrOp::get, flag->id, a), 0);
  EXPECT_TRUE(a.value.as<bool>());
  a.value = false;
  EXPECT_EQ(item->orvAttr(Orv::AttrOp::set, flag->id, a), 0);
  EXPECT_FALSE(item->flag());
  EXPECT_EQ(item->orvAttr(Orv::AttrOp::set, 258, a), 1);  // key
  EXPECT_EQ(item->orvAttr(Orv::AttrOp::get, Item::orvType.attr("limitMax")->id, a), 0);
  EXPECT_EQ(a.value.as<std::uint16_t>(), 1000);
  EXPECT_EQ(a.value.strep(), "1000");
  EXPECT_EQ(item->orvAttr(Orv::AttrOp::set, Item::orvType.attr("limitMax")->id, a), 1);
  EXPECT_EQ(item->orvAttr(Orv::AttrOp::get, 999, a), 2);
  EXPECT_EQ(item->orvAttr(Orv::AttrOp::get, Orv::AttrId::fullName, a), 0);
  EXPECT_EQ(a.value.as<std::string>(), "/e");
  a.value = std::string("x");
  EXPECT_THROW(item->orvAttr(Orv::AttrOp::set, flag->id, a), Orv::RangeException);

  const auto* ordMap = Item::orvType.attr("ordMap");
  EXPECT_EQ(ordMap->category, Orv::AttrCategory::collection);
  a.key = am("1.1.1.1/32");
  a.value = true;
  EXPECT_EQ(item->orvAttr(Orv::AttrOp::collSet, ordMap->id, a), 0);
  EXPECT_EQ(item->orvAttr(Orv::AttrOp::collCount, ordMap->id, a), 0);
  EXPECT_EQ(a.count, 1u);
  EXPECT_EQ(item->orvAttr(Orv::AttrOp::collKeys, ordMap->id, a), 0);
  ASSERT_EQ(a.keys.size(), 1u);
  EXPECT_EQ(a.keys[0].strep(), "1.1.1.1/32");
  EXPECT_EQ(item->orvAttr(Orv::AttrOp::collDel, ordMap->id, a), 0);
  EXPECT_TRUE(item->ordMap().empty());
}

TEST(ModelRegistry, DescriptorsAreRegisteredWithTheirAttributeTables) {
  const Orv::TypeDesc* t = Orv::typeNode("Kitchen::Item");
  ASSERT_EQ(t, &Item::orvType);
  EXPECT_EQ(t->kind, Orv::TypeKind::entity);
  EXPECT_EQ(t->attrs[0].id, 258);
  EXPECT_STREQ(t->attrs[0].name, "id");
  EXPECT_EQ(t->attrs[0].category, Orv::AttrCategory::key);
  EXPECT_EQ(t->attr("holder")->category, Orv::AttrCategory::pointer);
  EXPECT_EQ(t->attr("shadow")->category, Orv::AttrCategory::computed);
  EXPECT_TRUE(t->attr("shadow")->writable);
  EXPECT_STREQ(t->attr("refs")->keyType, "Lumen::IntfId");
  const Orv::TypeDesc* v = Orv::typeNode("Kitchen::Pair");
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v->attrs[0].id, 2);
  EXPECT_EQ(Orv::typeNode("Kitchen::Nothing"), nullptr);

  // Every row knows its owning type; an entity's base attributes are found
  // through any entity type but belong to the base, and a value type has none.
  for (std::uint16_t i = 0; i < t->attrCount; ++i) EXPECT_EQ(t->attrs[i].owner, t);
  EXPECT_EQ(v->attrs[0].owner, v);
  for (std::uint16_t id : {130, 138, 139, 141, 143}) {
    const Orv::AttrDesc* base = t->attr(id);
    ASSERT_NE(base, nullptr) << id;
    EXPECT_EQ(base->owner, &Orv::entityBaseType);
    EXPECT_EQ(t->attr(base->name), base);
  }
  EXPECT_STREQ(t->attr(141)->name, "fullName");
  EXPECT_EQ(v->attr(130), nullptr);
  EXPECT_EQ(t->attr(131), nullptr);
  auto item = Kitchen::itemFactory(IntfId("e"));
  Orv::AttrArg a;
  EXPECT_EQ(item->orvAttr(Orv::AttrOp::get, t->attr("fullName")->id, a), 0);
}

TEST(ModelQuery, QueriesTakeArgumentsAndStayOutOfGenericAccess) {
  auto root = Kitchen::rootFactory("root");
  root->countIs(5);
  auto holder = Kitchen::holderFactory(IntfId("h"));
  auto leaf = root->leafIs(IntfId("l"), holder);
  EXPECT_EQ(root->leafFor(IntfId("l")), leaf);
  EXPECT_EQ(root->leafFor(IntfId("x")), nullptr);
  EXPECT_EQ(root->countPlus(1, 2), 8u);
  const auto* q = Kitchen::Root::orvType.attr("leafFor");
  ASSERT_NE(q, nullptr);
  EXPECT_EQ(q->category, Orv::AttrCategory::computed);
  EXPECT_FALSE(q->writable);
  EXPECT_STREQ(q->valueType, "Orv::Ptr<Kitchen::Leaf>");
  // Numbered in declaration order after the stored count.
  EXPECT_EQ(q->id, Kitchen::Root::orvType.attr("count")->id + 1);
  Orv::AttrArg a;
  EXPECT_EQ(root->orvAttr(Orv::AttrOp::get, q->id, a), 1);
  EXPECT_EQ(root->orvAttr(Orv::AttrOp::get, Kitchen::Root::orvType.attr("countPlus")->id, a), 1);
  root->leafDelAll();
}

TEST(ModelTextAttr, ValueWithATextAttributeIsWrittenAsThatAttribute) {
  Kitchen::Masked m(Lumen::Ip6AddrWithMask("2001:db8::1/64"));
  EXPECT_EQ(Orv::valueToStrep(m), "2001:db8::1/64");
  EXPECT_EQ(m.length(), 64u);
  EXPECT_EQ(Orv::strepToValue<Kitchen::Masked>("2001:db8::1/64"), m);
  EXPECT_THROW(Orv::strepToValue<Kitchen::Masked>("Value('Kitchen::Masked', ** {})"),
               Orv::StrepReadException);
  auto out = Orv::NboAttrLog::Out::outIs();
  out << m;
  Orv::NboAttrLog::In in(out->bytes());
  Kitchen::Masked back;
  in >> back;
  EXPECT_EQ(back, m);
}

TEST(ModelCounter, CountsWrapAndCountedObjectsNotifyNobody) {
  auto tally = Kitchen::tallyFactory();
  EXPECT_EQ(tally->hitsInc(3), 3u);
  EXPECT_EQ(tally->hitsDec(5), 0xfffffffeu);  // wraps
  EXPECT_EQ(tally->hitsInc(2), 0u);
  EXPECT_EQ(tally->label(), "tally");

  // In an entity a counter notifies like any stored attribute.
  auto root = Kitchen::rootFactory("r");
  auto watcher = Kitchen::watcherFactory(root);
  struct Log : Kitchen::Watcher::NotifieeConst {
    int flips = 0;
    void onFlips() override { ++flips; }
  } log;
  log.notifierIs(watcher);
  watcher->flipsInc(2);
  watcher->flipsInc(0);  // no change: quiet
  EXPECT_EQ(watcher->flips(), 2u);
  EXPECT_EQ(log.flips, 1);
  log.notifierIs(nullptr);
}

TEST(ModelStateMachine, ReactorsFollowTheWatchedCollection) {
  auto root = Kitchen::rootFactory("r");
  auto i1 = root->itemIs(IntfId("i1"));
  root->itemIs(IntfId("i2"));
  auto watcher = Kitchen::watcherFactory(root);
  // Attaching to the root sweeps the items already there.
  EXPECT_EQ(watcher->attached(), 2u);
  EXPECT_EQ(watcher->item().size(), 2u);
  EXPECT_EQ(watcher->rootReactor()->notifier(), root);

  auto i3 = root->itemIs(IntfId("i3"));
  EXPECT_EQ(watcher->attached(), 3u);
  EXPECT_TRUE(i3->hasNotifiees());

  i1->flagIs(false);
  i1->flagIs(false);  // no change: no flip
  EXPECT_EQ(watcher->flips(), 1u);

  root->itemDel(IntfId("i3"));
  EXPECT_EQ(watcher->removed(), 1u);
  EXPECT_FALSE(watcher->item(IntfId("i3")));
  EXPECT_FALSE(i3->hasNotifiees());  // the reactor let go of the removed item
  i3->flagIs(false);
  EXPECT_EQ(watcher->flips(), 1u);

  // Letting go of the machine detaches every reactor.
  watcher->itemDelAll();
  watcher->rootDel();
  EXPECT_EQ(watcher->removed(), 3u);
  EXPECT_FALSE(i1->hasNotifiees());
  EXPECT_FALSE(root->hasNotifiees());

  // So does dropping the machine's last reference.
  watcher = Kitchen::watcherFactory(root);
  EXPECT_TRUE(i1->hasNotifiees());
  watcher = nullptr;
  EXPECT_FALSE(i1->hasNotifiees());
  EXPECT_FALSE(root->hasNotifiees());
}

TEST(ModelHandWritten, WritableComputedForwardsToAnotherEntity) {
  auto item = Kitchen::itemFactory(IntfId("e"));
  EXPECT_EQ(item->shadow(), L3::VrfName());
  EXPECT_THROW(item->shadowIs(L3::VrfName("red")), Orv::RangeException);
  auto h = Kitchen::holderFactory(IntfId("h"));
  item->holderIs(h);
  item->shadowIs(L3::VrfName("red"));
  EXPECT_EQ(h->tag(), "red");
  EXPECT_EQ(item->shadow(), L3::VrfName("red"));
}

}  // namespace

// Counts the base's counter notifications and what the derived query says
// while they run.
struct GaugeLog : Kitchen::Gauge::NotifieeConst {
  std::vector<std::string> log;
  void onChanged() override {
    log.push_back("changed " + std::to_string(notifier()->changed()) + " covers e " +
                  (notifier()->covers(IntfId("e")) ? "yes" : "no"));
  }
};

TEST(ModelDerived, DerivedEntityAnswersTheBaseQueriesAndNotifiesThroughTheBase) {
  auto item = Kitchen::itemFactory(IntfId("e"));
  Kitchen::ItemGauge::Ptr derived = Kitchen::itemGaugeFactory(item);
  Kitchen::Gauge::Ptr gauge = derived;
  EXPECT_EQ(derived->item(), item);
  EXPECT_TRUE(gauge->covers(IntfId("e")));
  EXPECT_FALSE(gauge->covers(IntfId("f")));
  EXPECT_EQ(&gauge->fwkType(), &Kitchen::ItemGauge::orvType);

  GaugeLog log;
  log.notifierIs(gauge);
  gauge->changedInc(1);
  gauge->changedIs(1);  // no change: quiet
  gauge->lastIntfIs(IntfId("e"));
  EXPECT_EQ(log.log, std::vector<std::string>{"changed 1 covers e yes"});
  EXPECT_EQ(derived->pokes(), 1u);

  // Generic access: the derived type's own attributes number after the
  // base's, and the base's are still reachable by identifier.
  const auto* own = Kitchen::ItemGauge::orvType.attr("item");
  ASSERT_NE(own, nullptr);
  EXPECT_EQ(own->id, 258 + 2);
  Orv::AttrArg a;
  EXPECT_EQ(derived->orvAttr(Orv::AttrOp::get, Kitchen::Gauge::orvType.attr("changed")->id, a), 0);
  EXPECT_EQ(a.value.as<std::uint32_t>(), 1u);
  log.notifierIs(nullptr);
}

TEST(ModelDerivedDeathTest, BaseObjectOperationsFailNamingTheirSignature) {
  auto gauge = Kitchen::gaugeFactory();
  EXPECT_EQ(gauge->changed(), 0u);
  EXPECT_DEATH(gauge->covers(IntfId("e")),
               "virtual bool Kitchen::Gauge::covers\\(Lumen::IntfId\\) const: Assertion `0 && "
               "\"Must override in derived class\"' failed");
  EXPECT_DEATH(gauge->first(IntfId("e"), IpAddrWithMask()),
               "virtual const Lumen::IpAddr Kitchen::Gauge::first\\(Lumen::IntfId, const "
               "Lumen::IpAddrWithMask&\\) const");
  EXPECT_DEATH(gauge->poke(true), "virtual void Kitchen::Gauge::poke\\(bool\\)");
}

TEST(ModelDerived, DerivedTypeFixesTheBaseParameterAndKeepsItsAttributes) {
  using Kitchen::LowSource;
  using Kitchen::Source;
  auto low = Kitchen::lowSourceFactory("low1");
  EXPECT_EQ(low->name(), "low1");
  EXPECT_EQ(low->grade(), Source::Grade::low);
  EXPECT_STREQ(low->fwkType().name, "Kitchen::LowSource");
  EXPECT_EQ(Orv::typeNode("Kitchen::LowSource"), &LowSource::orvType);
  // The base's attribute rows, found through the derived type and owned by
  // the base.
  const Orv::AttrDesc* weight = LowSource::orvType.attr("weight");
  ASSERT_NE(weight, nullptr);
  EXPECT_EQ(weight->id, Source::orvType.attr("weight")->id);
  EXPECT_EQ(weight->owner, &Source::orvType);
  EXPECT_EQ(Orv::allocTrack<LowSource>().liveObjects(), 1u);
  EXPECT_EQ(Orv::allocTrack<Source>().liveObjects(), 0u);

  // A reactor of the derived type hears the base's attributes and sees the
  // notifier with its own type; so does a reactor of the base.
  struct LowLog : LowSource::NotifieeConst {
    int weight = 0;
    void onWeight(const IntfId&) override { ++weight; }
  } dl;
  struct BaseLog : Source::NotifieeConst {
    int weight = 0;
    void onWeight(const IntfId&) override { ++weight; }
  } bl;
  dl.notifierIs(low);
  bl.notifierIs(Orv::Ptr<const Source>(low));
  low->weightIs(IntfId("e1"), 3);
  low->weightIs(IntfId("e1"), 3);
  EXPECT_EQ(dl.weight, 1);
  EXPECT_EQ(bl.weight, 1);
  EXPECT_EQ(dl.notifier(), low);

  // The base itself takes the further key; a collection of it checks it on
  // reinstantiation like any constructor parameter.
  auto root = Kitchen::rootFactory("root");
  auto s = root->sourceIs("s1", Source::Grade::high);
  EXPECT_EQ(root->sourceIs("s1", Source::Grade::high), s);
  EXPECT_THROW(root->sourceIs("s1", Source::Grade::none), Orv::NameInUseException);
  EXPECT_EQ(s->fullName(), "/root/source/s1");
}

TEST(ModelEnum, NestedEnumerationHasTheOperationsUnderItsQualifiedName) {
  using Grade = Kitchen::Source::Grade;
  EXPECT_EQ(Kitchen::GradeInstance(2u), Grade::high);
  EXPECT_EQ(Kitchen::GradeInstance(Orv::String("low")), Grade::low);
  EXPECT_EQ(stringValue(Grade::none), "none");
  EXPECT_EQ(Orv::strepToValue<Grade>("high"), Grade::high);
  const Orv::TypeDesc* d = Orv::typeNode("Kitchen::Source::Grade");
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->enumeratorCount, 3);
}

TEST(ModelInstantiating, StoredParameterIsSetOnReAddAndKeylessEntitiesStandAlone) {
  auto root = Kitchen::rootFactory("root");
  struct RootLog : Kitchen::Root::NotifieeConst {
    int request = 0;
    void onRequest(const IntfId&) override { ++request; }
  } rl;
  rl.notifierIs(root);
  auto r = root->requestIs(IntfId("e1"), L3::VrfName("red"));
  struct RequestLog : Kitchen::Request::NotifieeConst {
    int vrf = 0;
    void onVrf() override { ++vrf; }
  } ql;
  ql.notifierIs(r);
  EXPECT_EQ(root->requestIs(IntfId("e1"), L3::VrfName("blue")), r);  // no exception
  EXPECT_EQ(r->vrf(), L3::VrfName("blue"));
  EXPECT_EQ(root->requestIs(IntfId("e1"), L3::VrfName("blue")), r);
  EXPECT_EQ(ql.vrf, 1);
  EXPECT_EQ(rl.request, 1);

  auto bag = Kitchen::bagFactory();
  bag->wordIs("a");
  EXPECT_TRUE(bag->word("a"));
  EXPECT_EQ(bag->fullName(), "/");
}

TEST(ModelQuiet, QuietEntitiesNotifyNobody) {
  auto tags = Kitchen::tagsFactory(IntfId("e1"));
  EXPECT_FALSE(tags->notificationActive());
  struct Log : Kitchen::Tags::NotifieeConst {
    int heard = 0;
    void onTag(const Orv::String&) override { ++heard; }
    void onCount() override { ++heard; }
  } log;
  log.notifierIs(tags);
  tags->tagIs("a");
  tags->tagIs("a");
  tags->tagNotify("a");
  tags->countIs(3);
  tags->tagDel("a");
  EXPECT_EQ(log.heard, 0);
  EXPECT_EQ(tags->count(), 3u);
  EXPECT_TRUE(tags->tag().empty());
}
