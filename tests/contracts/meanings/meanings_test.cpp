#include "contracts/meanings/meanings.h"

#include <set>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/every_contract.h"

namespace korvane::test {
namespace {

using meanings::find_meaning;
using meanings::for_each_message_meaning;
using meanings::Meaning;

using Names = std::set<std::pair<std::string, std::string>>;

/// All contracts by their plain names, and their fields.
Names described_names() {
  Names names;
  for_each_contract([&]<class T>() {
    const std::string owner(bond::plain_name(bond::Describe<T>::qualified_name));
    names.emplace(owner, "");
    bond::for_each_field<T>([&](const auto& field) { names.emplace(owner, field.name); });
  });
  return names;
}

TEST(MeaningsOfMessages, AreOfContractsThatThereAreEachToldOnce) {
  const Names described = described_names();
  Names told;
  for_each_message_meaning([&](const Meaning& meaning) {
    const std::pair<std::string, std::string> name(meaning.owner, meaning.name);
    EXPECT_TRUE(described.contains(name)) << name.first << "." << name.second;
    EXPECT_TRUE(told.insert(name).second) << name.first << "." << name.second;
    EXPECT_EQ(find_meaning(meaning.owner, meaning.name), &meaning);
  });
}

TEST(MeaningsOfMessages, AreWholeForEachContractThatHasOne) {
  Names owners;
  for_each_message_meaning([&](const Meaning& one) { owners.emplace(one.owner, ""); });
  for (const auto& [owner, field] : described_names()) {
    if (!owners.contains({owner, ""})) continue;
    EXPECT_NE(find_meaning(owner, field), nullptr) << owner << "." << field;
  }
}

TEST(MeaningsOfMessages, AreSentencesForContractsAndPhrasesForFields) {
  for_each_message_meaning([](const Meaning& meaning) {
    EXPECT_FALSE(meaning.text.empty());
    EXPECT_EQ(meaning.text.find_first_of("|\n"), std::string_view::npos) << meaning.text;
    EXPECT_TRUE(!meaning.name.empty() || meaning.text.ends_with('.')) << meaning.text;
  });
}

TEST(Meanings, OfWhatNobodyHasToldAreNone) {
  EXPECT_EQ(find_meaning("Mesh", "baryo"), nullptr);
  EXPECT_EQ(find_meaning("Rebar", "colour"), nullptr);
}

}  // namespace
}  // namespace korvane::test
