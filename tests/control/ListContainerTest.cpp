#include "Extension_Unit_Class/List_Container.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(ListContainer, StartsEmpty)
{
    List_Container<int> list;
    EXPECT_EQ(list.Size(), 0u);
}

TEST(ListContainer, KeepsTheOrderOfAddition)
{
    List_Container<std::string> list;
    for (const char* word : {"a", "b", "c", "d", "e"})
        list.Add(word);
    ASSERT_EQ(list.Size(), 5u);
    EXPECT_EQ(list[0], "a");
    EXPECT_EQ(list[1], "b");
    EXPECT_EQ(list[2], "c");
    EXPECT_EQ(list[3], "d");
    EXPECT_EQ(list[4], "e");
}

TEST(ListContainer, ValuesCanBeChangedInPlace)
{
    List_Container<int> list;
    list.Add(1);
    list.Add(2);
    list[1] = 20;
    list[0] += 5;
    EXPECT_EQ(list[0], 6);
    EXPECT_EQ(list[1], 20);
}

TEST(ListContainer, ClearEmptiesAndTheListCanBeRefilled)
{
    List_Container<int> list;
    for (int i = 0; i < 10; ++i)
        list.Add(i);
    list.Clear();
    EXPECT_EQ(list.Size(), 0u);
    list.Add(42);
    ASSERT_EQ(list.Size(), 1u);
    EXPECT_EQ(list[0], 42);
}

TEST(ListContainer, LongListsIndexFromBothEnds)
{
    List_Container<int> list;
    const int count = 100000;
    for (int i = 0; i < count; ++i)
        list.Add(i * 3);
    EXPECT_EQ(list[0], 0);
    EXPECT_EQ(list[1], 3);
    EXPECT_EQ(list[count / 2], count / 2 * 3);
    EXPECT_EQ(list[count - 1], (count - 1) * 3);
}

} // namespace
