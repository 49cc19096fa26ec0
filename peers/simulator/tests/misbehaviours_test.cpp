#include "misbehaviours.h"

#include "script.h"

#include <gtest/gtest.h>

#include <set>

namespace kxsim {
namespace {

TEST(Misbehaviours, EachHasANameOfItsOwnAndAScriptThatCanBeUnderstood) {
  std::set<std::string_view> names;
  for (const Misbehaviour& one : misbehaviours()) {
    EXPECT_TRUE(names.insert(one.name).second) << one.name;
    EXPECT_FALSE(one.what.empty() || one.script.empty()) << one.name;
    EXPECT_NO_THROW(parseScript(scriptOfMisbehaviours(one.name))) << one.name;
  }
  EXPECT_GT(names.size(), 20U);
}

TEST(Misbehaviours, TheirListHasEachWithItsScript) {
  EXPECT_NE(listOfMisbehaviours().find("hang-up-afterwards: answers a play and closes the connection\n"
                                       "    on play send\n    on play hang-up\n"),
            std::string::npos);
}

TEST(Misbehaviours, SeveralAreDoneTogether) {
  EXPECT_EQ(scriptOfMisbehaviours("stays,late-answer"), "on exit stay\non play delay 3000\n");
  EXPECT_EQ(scriptOfMisbehaviours(""), "");
}

TEST(Misbehaviours, ANameThatThereIsNotIsRefused) {
  EXPECT_THROW(scriptOfMisbehaviours("stays,sulks"), ScriptError);
}

}  // namespace
}  // namespace kxsim
