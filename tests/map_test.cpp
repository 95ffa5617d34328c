#include "zusl_Map.h"

#include <gtest/gtest.h>
#include <vector>

using Settings = zusl::StringMap<zutl::String>;

TEST(Map, InsertAcceptsAnyTextAndKeepsTheFirstValueOfAKey) {
    Settings map;
    const std::string standard = "a";
    const zutl::String own = "b";
    const auto [entry, added] = map.insert(standard, standard);
    EXPECT_TRUE(added);
    EXPECT_EQ(entry->second, "a");
    EXPECT_EQ(map.insert("a", "2").first->second, "a");
    EXPECT_FALSE(map.insert("a", own).second);
    EXPECT_EQ(map.insert(own + "", standard).first->second, "a");
    map.insert(own, own);
    map.insert(own + "d", "literal");
    map["a"] = "5";
    EXPECT_EQ(map["a"] + map["b"] + map["bd"] + map["absent"], "5aliteral");
}

TEST(Map, HasTheStandardOverloadsOfInsert) {
    Settings map{{"z", "26"}};
    map.insert({{"b", "2"}, {"a", "1"}});
    map.insert({"c", "3"});
    map.insert(std::make_pair("d", "4"));
    map.insert(map.end(), {"e", "5"});
    const std::vector<std::pair<const char*, const char*>> more = {{"f", "6"}, {"a", "other"}};
    map.insert(more.begin(), more.end());
    map.insert(Settings{{"g", "7"}}.extract("g"));
    for (const char* const key : {"\xC3\xA4", "B", "", "ab"})
        map.insert(key, "");
    std::string order;
    for (const auto& [key, value] : map)
        order += "<" + key + value + ">";
    EXPECT_EQ(order, "<><B><a1><ab><b2><c3><d4><e5><f6><g7><z26><\xC3\xA4>");
}
