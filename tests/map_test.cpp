#include "zusl_Map.h"

#include <gtest/gtest.h>
#include <vector>

using Settings = zusl::StringMap<zutl::String>;

TEST(Map, InsertKeepsTheFirstValueOfAKey) {
    Settings map;
    const auto [entry, added] = map.insert("mode", "1");
    EXPECT_TRUE(added);
    EXPECT_EQ(entry->second, "1");
    EXPECT_FALSE(map.insert("mode", "2").second);
    EXPECT_FALSE(map.insert(zutl::String("mode"), zutl::String("3")).second);
    EXPECT_EQ(map.insert("mode", "4").first->second, "1");
    map["mode"] = "5";
    EXPECT_EQ(map["mode"], "5");
    EXPECT_EQ(map["absent"], "");
}

TEST(Map, TakesEveryKindOfPairOfTexts) {
    Settings map;
    const std::string standard = "a";
    const zutl::String own = "b";
    map.insert(standard, standard);
    map.insert(own, own);
    map.insert("c", own);
    map.insert(own + "d", "literal");
    EXPECT_EQ(map.size(), 4U);
    EXPECT_EQ(map["bd"], "literal");
}

TEST(Map, HasTheStandardFormsOfInsert) {
    Settings map{{"z", "26"}};
    map.insert({{"b", "2"}, {"a", "1"}});
    map.insert({"c", "3"});
    map.insert(std::make_pair("d", "4"));
    map.insert(map.end(), {"e", "5"});
    const std::vector<std::pair<const char*, const char*>> more = {{"f", "6"}, {"a", "other"}};
    map.insert(more.begin(), more.end());
    map.insert(Settings{{"g", "7"}}.extract("g"));
    std::string order;
    for (const auto& [key, value] : map)
        order += key + value;
    EXPECT_EQ(order, "a1b2c3d4e5f6g7z26");
}

TEST(Map, OrdersKeysByTheirBytes) {
    Settings map;
    for (const char* const key : {"b", "\xC3\xA4", "B", "", "ab", "a"})
        map.insert(key, "");
    std::string order;
    for (const auto& entry : map)
        order += "<" + entry.first + ">";
    EXPECT_EQ(order, "<><B><a><ab><b><\xC3\xA4>");
}
