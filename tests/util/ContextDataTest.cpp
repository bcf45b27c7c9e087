#include <gtest/gtest.h>

#include <string>

#include "ContextData.h"

namespace {

// Runs body with standard error captured (the host log writes there) and
// returns what was written.
template <typename Body>
std::string StderrOf(Body&& body) {
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
}

testing::AssertionResult Has(const std::string& text, const char* part) {
    if (text.find(part) != std::string::npos) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "\"" << part << "\" not in: " << text;
}

ContextData Parsed(const char* text) {
    ContextData data;
    EXPECT_TRUE(data.MakeData(text)) << text;
    return data;
}

}  // namespace

TEST(ContextDataText, FreshObjectIsNullAndOutputIsCompact) {
    ContextData data;
    EXPECT_STREQ(data.MakeStr(), "null");
    EXPECT_TRUE(data.Empty());
    EXPECT_TRUE(data.SetValue("a", 1));
    ContextData inner;
    inner.SetValue("name", "x y");
    data.SetValue("list", inner);
    data.SetValueInArray("tags", "t");
    EXPECT_STREQ(data.MakeStr(), "{\"a\":1,\"list\":[{\"name\":\"x y\"}],\"tags\":[\"t\"]}");
    data.SetValue("a", 3);  // the text is written anew on every call
    EXPECT_STREQ(data.MakeStr(), "{\"a\":3,\"list\":[{\"name\":\"x y\"}],\"tags\":[\"t\"]}");
}

TEST(ContextDataSet, EachSetterStoresItsTypeAndReplaces) {
    ContextData data;
    EXPECT_TRUE(data.SetValue("d", 1.5));
    EXPECT_TRUE(data.SetValue("i", -7));
    EXPECT_TRUE(data.SetValue("u", 3000000000u));
    EXPECT_TRUE(data.SetValue("s", std::string("text")));
    EXPECT_TRUE(data.SetValue("c", "chars"));
    EXPECT_TRUE(data.SetValue("nullText", static_cast<const char*>(nullptr)));
    Json::Value& root = *data.GetValue();
    EXPECT_TRUE(root["d"].isDouble());
    EXPECT_EQ(root["i"].type(), Json::intValue);
    EXPECT_EQ(root["u"].type(), Json::uintValue);
    EXPECT_TRUE(root["nullText"].isString());
    EXPECT_DOUBLE_EQ(data.GetValueDouble("d"), 1.5);
    EXPECT_EQ(data.GetValueInt("i"), -7);
    EXPECT_EQ(data.GetValueUInt("u"), 3000000000u);
    EXPECT_EQ(data.GetValueStr("s"), "text");
    EXPECT_EQ(data.GetValueStr("c"), "chars");
    EXPECT_EQ(data.GetValueStr("nullText"), "");

    EXPECT_TRUE(data.SetValue("i", "now a string"));
    EXPECT_EQ(data.GetValueInt("i"), 0);
    EXPECT_EQ(data.GetValueStr("i"), "now a string");
}

TEST(ContextDataSet, SixtyFourBitSetterKeepsOnlyTheLow32Bits) {
    ContextData data;
    data.SetValue("big", 4294967296ULL);
    data.SetValue("bigPlusOne", 4294967297ULL);
    data.SetValue("max32", 4294967295ULL);
    data.SetValue("minusOne", -1L);
    data.SetValue("longSmall", 42L);
    EXPECT_STREQ(data.MakeStr(),
                 "{\"big\":0,\"bigPlusOne\":1,\"longSmall\":42,\"max32\":4294967295,"
                 "\"minusOne\":4294967295}");
    EXPECT_EQ((*data.GetValue())["big"].type(), Json::uintValue);
    EXPECT_EQ(data.GetValueUInt64("minusOne"), 4294967295ULL);
    EXPECT_EQ(data.GetValueUInt("minusOne"), 4294967295u);
    EXPECT_EQ(data.GetValueInt("minusOne"), 0);  // not an int any more
}

TEST(ContextDataGet, EachGetterTakesWhatConvertsAndOtherwiseGivesTheFallback) {
    ContextData data = Parsed(
        "{\"b\":true,\"i\":5,\"n\":-5,\"big\":3000000000,\"r\":0.25,\"s\":\"x\",\"o\":{},"
        "\"a\":[1],\"max\":18446744073709551615,\"whole\":2.0,\"huge\":1e30}");
    EXPECT_TRUE(data.GetValueBool("b"));
    EXPECT_FALSE(data.GetValueBool("i"));
    EXPECT_FALSE(data.GetValueBool("s"));
    EXPECT_EQ(data.GetValueInt("big"), 0);
    EXPECT_EQ(data.GetValueInt("r"), 0);
    EXPECT_EQ(data.GetValueInt("s"), 0);
    EXPECT_EQ(data.GetValueInt("o"), 0);
    EXPECT_EQ(data.GetValueUInt("i"), 5u);
    EXPECT_EQ(data.GetValueUInt("n"), 0u);
    EXPECT_DOUBLE_EQ(data.GetValueDouble("r"), 0.25);
    EXPECT_DOUBLE_EQ(data.GetValueDouble("i"), 5.0);
    EXPECT_DOUBLE_EQ(data.GetValueDouble("s"), 0.0);
    EXPECT_EQ(data.GetValueStr("i"), "");
    EXPECT_EQ(data.GetValueStr("a"), "");
    // 64 bits: any lossless non-negative number, nothing else.
    EXPECT_EQ(data.GetValueUInt64("max"), 18446744073709551615ULL);
    EXPECT_EQ(data.GetValueUInt64("i"), 5u);
    EXPECT_EQ(data.GetValueUInt64("whole"), 2u);
    for (const char* key : {"n", "r", "s", "b", "huge"}) {
        EXPECT_EQ(data.GetValueUInt64(key), 0u) << key;
    }
}

TEST(ContextDataGet, MissingKeyIsInsertedUnlessIsValidRemovesIt) {
    ContextData data;
    data.SetValue("a", 1);
    EXPECT_EQ(data.GetValueInt("missing"), 0);
    EXPECT_STREQ(data.MakeStr(), "{\"a\":1,\"missing\":null}");

    EXPECT_EQ(data.GetValueStr("other"), "");
    EXPECT_FALSE(data.IsValid("other"));
    EXPECT_FALSE(data.IsValid("never"));
    EXPECT_STREQ(data.MakeStr(), "{\"a\":1,\"missing\":null}");
    EXPECT_TRUE(data.IsValid("a"));

    // A member that holds an explicit null counts as absent and goes too.
    EXPECT_FALSE(data.IsValid("missing"));
    EXPECT_STREQ(data.MakeStr(), "{\"a\":1}");

    // On a fresh document the lookup turns the null root into an object.
    ContextData fresh;
    EXPECT_FALSE(fresh.IsValid("x"));
    EXPECT_STREQ(fresh.MakeStr(), "{}");
}

TEST(ContextDataGet, GetValueStr2SaysNullForMissingEmptyOrNonString) {
    ContextData data = Parsed("{\"empty\":\"\",\"num\":3,\"name\":\"tv\"}");
    for (const char* key : {"missing", "empty", "num"}) {
        EXPECT_EQ(data.GetValueStr2(key), "NULL") << key;
    }
    EXPECT_EQ(data.GetValueStr2("name"), "tv");
    EXPECT_EQ(data.GetValueStr("empty"), "");
}

TEST(ContextDataArray, SetValueWithDocumentAppendsCopiesAndNoArryAssigns) {
    ContextData item;
    item.SetValue("id", 1);
    ContextData data;
    EXPECT_TRUE(data.SetValue("items", item));
    item.SetValue("id", 2);
    EXPECT_TRUE(data.SetValue("items", item));
    EXPECT_TRUE(data.SetValueNoArry("single", item));
    EXPECT_TRUE(data.SetValueNoArry("single", item));
    item.SetValue("id", 9);  // copies, not references
    EXPECT_STREQ(data.MakeStr(), "{\"items\":[{\"id\":1},{\"id\":2}],\"single\":{\"id\":2}}");

    // A scalar document is appended as it is; a document may go into itself.
    ContextData scalar = Parsed("7");
    EXPECT_TRUE(data.SetValue("nums", scalar));
    ContextData self;
    self.SetValue("a", 1);
    EXPECT_TRUE(self.SetValue("self", self));
    EXPECT_TRUE(self.SetValueNoArry("copy", self));
    EXPECT_STREQ(self.MakeStr(),
                 "{\"a\":1,\"copy\":{\"a\":1,\"self\":[{\"a\":1}]},\"self\":[{\"a\":1}]}");

    // GetSize counts arrays and objects only.
    EXPECT_EQ(data.GetSize("items"), 2);
    EXPECT_EQ(data.GetSize("nums"), 1);
    EXPECT_EQ(data.GetSize("single"), 1);
    ContextData other = Parsed("{\"s\":\"abc\",\"n\":null}");
    for (const char* key : {"s", "n", "missing"}) {
        EXPECT_EQ(other.GetSize(key), 0) << key;
    }
}

TEST(ContextDataArray, StringAppendsAndNonArrayMembers) {
    ContextData data;
    EXPECT_TRUE(data.SetValueInArray("list", "one"));
    EXPECT_TRUE(data.SetValueInArray("list", std::string("two")));
    EXPECT_TRUE(data.SetValueInArray("list", static_cast<const char*>(nullptr)));
    EXPECT_STREQ(data.MakeStr(), "{\"list\":[\"one\",\"two\",\"\"]}");

    data.SetValue("n", 5);
    ContextData item;
    std::string log = StderrOf([&] {
        EXPECT_FALSE(data.SetValueInArray("n", "x"));
        EXPECT_FALSE(data.SetValue("n", item));
    });
    EXPECT_TRUE(Has(log, "not an array"));
    EXPECT_EQ(data.GetValueInt("n"), 5);
}

TEST(ContextDataStructure, GetValueByKeyDiffersBetweenViewAndOwner) {
    Json::Value root =
        *Parsed("{\"result\":[{\"x\":1},{\"x\":2}],\"obj\":{\"y\":3},\"s\":\"t\"}").GetValue();

    ContextData owner(root);
    EXPECT_STREQ(owner.GetValue("result").MakeStr(), "[{\"x\":1},{\"x\":2}]");

    ContextData view(&root);
    ContextData first = view.GetValue("result");
    EXPECT_STREQ(first.MakeStr(), "{\"x\":1}");

    // The view has nothing to take the first element of; it gives a null
    // document instead of turning the member into an array.
    std::string log = StderrOf([&] {
        EXPECT_STREQ(view.GetValue("obj").MakeStr(), "null");
        EXPECT_STREQ(view.GetValue("s").MakeStr(), "null");
    });
    EXPECT_TRUE(Has(log, "no element 0"));
    EXPECT_TRUE(root["obj"].isObject());
    EXPECT_TRUE(root["s"].isString());

    // Copies are independent of the document.
    first.SetValue("x", 99);
    EXPECT_EQ(root["result"][0]["x"].asInt(), 1);
}

TEST(ContextDataStructure, ViewActsOnTheCallersValue) {
    Json::Value root(Json::objectValue);
    {
        ContextData view(&root);
        EXPECT_EQ(view.GetValue(), &root);
        view.SetValue("k", 4);
        EXPECT_TRUE(view.MakeData("{\"parsed\":true}"));
    }
    // The view's end leaves the value alone.
    EXPECT_TRUE(root["parsed"].asBool());
    EXPECT_FALSE(root.isMember("k"));

    // A copy of a Json::Value is not a view, nor is a view on nothing.
    Json::Value source;
    source["a"] = 1;
    ContextData owner(source);
    owner.SetValue("a", 2);
    EXPECT_EQ(source["a"].asInt(), 1);
    ContextData nullView(static_cast<Json::Value*>(nullptr));
    nullView.SetValue("a", 1);
    EXPECT_STREQ(nullView.MakeStr(), "{\"a\":1}");
}

TEST(ContextDataStructure, ElementAccessByIndex) {
    ContextData data = Parsed("{\"list\":[{\"v\":0},{\"v\":1},{\"v\":2}],\"obj\":{\"v\":0}}");
    EXPECT_EQ(data.GetValue("list", 2).GetValueInt("v"), 2);
    data.GetValue("list", 1).SetValue("v", 10);  // a copy
    EXPECT_EQ(data.GetValue("list", 1).GetValueInt("v"), 1);
    data.GetValuePtr("list", 1).SetValue("v", 11);  // a view
    EXPECT_EQ(data.GetValue("list", 1).GetValueInt("v"), 11);

    const std::string before = data.MakeStr();
    std::string log = StderrOf([&] {
        for (int index : {3, -1, 2147483647}) {
            EXPECT_STREQ(data.GetValue("list", index).MakeStr(), "null") << index;
        }
        EXPECT_STREQ(data.GetValue("obj", 0).MakeStr(), "null");
        data.GetValuePtr("list", 5).SetValue("v", 5);
        data.GetValuePtr("list", -2).SetValue("v", 5);
    });
    EXPECT_TRUE(Has(log, "no element 3"));
    EXPECT_TRUE(Has(log, "no element -1"));
    EXPECT_EQ(data.MakeStr(), before);

    // A missing member is added as null by the lookup, but no element is made.
    EXPECT_STREQ(data.GetValue("absent", 0).MakeStr(), "null");
    EXPECT_TRUE(data.GetValue()->isMember("absent"));
    EXPECT_TRUE(data.GetValue()->get("absent", 1).isNull());
}

TEST(ContextDataStructure, ClearEmptyAndRemoveMember) {
    ContextData data = Parsed("{\"a\":1,\"b\":2}");
    EXPECT_FALSE(data.Empty());
    EXPECT_TRUE(data.RemoveMember("a"));
    EXPECT_TRUE(data.RemoveMember("notThere"));
    EXPECT_STREQ(data.MakeStr(), "{\"b\":2}");
    EXPECT_TRUE(data.Clear());
    EXPECT_TRUE(data.Empty());
    EXPECT_STREQ(data.MakeStr(), "{}");

    ContextData array = Parsed("[1,2]");
    EXPECT_TRUE(array.Clear());
    EXPECT_STREQ(array.MakeStr(), "[]");

    ContextData scalar = Parsed("\"text\"");
    EXPECT_FALSE(scalar.Empty());
    EXPECT_TRUE(scalar.Clear());
    EXPECT_STREQ(scalar.MakeStr(), "null");
}

TEST(ContextDataRobustness, NullKeyIsLoggedAndRefused) {
    ContextData data;
    data.SetValue("a", 1);
    ContextData other;
    const char* key = nullptr;
    std::string log = StderrOf([&] {
        EXPECT_FALSE(data.SetValue(key, 1.0));
        EXPECT_FALSE(data.SetValue(key, 1));
        EXPECT_FALSE(data.SetValue(key, 1u));
        EXPECT_FALSE(data.SetValue(key, 1ULL));
        EXPECT_FALSE(data.SetValue(key, 1L));
        EXPECT_FALSE(data.SetValue(key, "x"));
        EXPECT_FALSE(data.SetValue(key, std::string("x")));
        EXPECT_FALSE(data.SetValue(key, other));
        EXPECT_FALSE(data.SetValueNoArry(key, other));
        EXPECT_FALSE(data.SetValueInArray(key, "x"));
        EXPECT_FALSE(data.SetValueInArray(key, std::string("x")));
        EXPECT_FALSE(data.GetValueBool(key));
        EXPECT_EQ(data.GetValueDouble(key), 0.0);
        EXPECT_EQ(data.GetValueInt(key), 0);
        EXPECT_EQ(data.GetValueUInt(key), 0u);
        EXPECT_EQ(data.GetValueUInt64(key), 0u);
        EXPECT_EQ(data.GetValueStr(key), "");
        EXPECT_EQ(data.GetValueStr2(key), "NULL");
        EXPECT_STREQ(data.GetValue(key).MakeStr(), "null");
        EXPECT_STREQ(data.GetValue(key, 0).MakeStr(), "null");
        EXPECT_STREQ(data.GetValuePtr(key, 0).MakeStr(), "null");
        EXPECT_EQ(data.GetSize(key), 0);
        EXPECT_FALSE(data.IsValid(key));
        EXPECT_FALSE(data.RemoveMember(key));
    });
    EXPECT_TRUE(Has(log, "SetValue: key is NULL"));
    EXPECT_TRUE(Has(log, "RemoveMember: key is NULL"));
    EXPECT_STREQ(data.MakeStr(), "{\"a\":1}");

    Json::Value root;
    ContextData view(&root);
    EXPECT_STREQ(view.GetValue(key).MakeStr(), "null");
}

TEST(ContextDataRobustness, NonObjectTargetsHaveNoMembers) {
    for (const char* text : {"[1,2]", "5", "\"s\"", "true", "-1.5"}) {
        SCOPED_TRACE(text);
        ContextData data = Parsed(text);
        const std::string before = data.MakeStr();
        ContextData item;
        std::string log = StderrOf([&] {
            EXPECT_FALSE(data.SetValue("k", 1));
            EXPECT_FALSE(data.SetValue("k", "v"));
            EXPECT_FALSE(data.SetValue("k", item));
            EXPECT_FALSE(data.SetValueNoArry("k", item));
            EXPECT_FALSE(data.SetValueInArray("k", "v"));
            EXPECT_EQ(data.GetValueInt("k"), 0);
            EXPECT_EQ(data.GetValueStr2("k"), "NULL");
            EXPECT_STREQ(data.GetValue("k").MakeStr(), "null");
            EXPECT_STREQ(data.GetValuePtr("k", 0).MakeStr(), "null");
            EXPECT_EQ(data.GetSize("k"), 0);
            EXPECT_FALSE(data.IsValid("k"));
            EXPECT_FALSE(data.RemoveMember("k"));
        });
        EXPECT_TRUE(Has(log, "SetValue(k): the document is not an object"));
        EXPECT_EQ(before, data.MakeStr());

        Json::Value root;
        ContextData view(&root);
        ASSERT_TRUE(view.MakeData(text));
        EXPECT_FALSE(view.SetValue("k", 2));
        EXPECT_STREQ(view.GetValue("k").MakeStr(), "null");
        EXPECT_EQ(view.MakeStr(), before);
    }
}

TEST(ContextDataParse, OwnTargetLogsFailuresAndKeepsItsContentAViewFailsQuietly) {
    ContextData data;
    data.SetValue("keep", 1);
    std::string log = StderrOf([&] { EXPECT_FALSE(data.MakeData("{")); });
    EXPECT_TRUE(Has(log, "m_reader paring error: ["));
    EXPECT_TRUE(Has(log, "]=> {"));
    EXPECT_STREQ(data.MakeStr(), "{\"keep\":1}");
    log = StderrOf([&] { EXPECT_FALSE(data.MakeData(nullptr)); });
    EXPECT_TRUE(Has(log, "str is NULL"));
    EXPECT_TRUE(data.MakeData("{\"new\":[1,\"x\"]}"));
    EXPECT_STREQ(data.MakeStr(), "{\"new\":[1,\"x\"]}");

    Json::Value root;
    root["keep"] = true;
    ContextData view(&root);
    log = StderrOf([&] { EXPECT_FALSE(view.MakeData("{\"a\":")); });
    EXPECT_EQ(log.find("paring error"), std::string::npos) << log;
    EXPECT_TRUE(root["keep"].asBool());
    log = StderrOf([&] { EXPECT_FALSE(view.MakeData(nullptr)); });
    EXPECT_TRUE(Has(log, "str is NULL"));
}

TEST(ContextDataParse, DeepNestingIsRefusedWithoutCrashing) {
    const size_t depth = 200000;
    std::string deep(depth, '[');
    deep.append(depth, ']');
    ContextData data;
    std::string log = StderrOf([&] { EXPECT_FALSE(data.MakeData(deep.c_str())); });
    EXPECT_TRUE(Has(log, "m_reader paring error"));

    std::string deepObject;
    for (int i = 0; i < 5000; ++i) {
        deepObject += "{\"a\":";
    }
    Json::Value root;
    ContextData view(&root);
    EXPECT_FALSE(view.MakeData(deepObject.c_str()));

    // Nesting within the reader's limit parses and writes back unchanged.
    std::string fine(500, '[');
    fine.append(500, ']');
    EXPECT_TRUE(data.MakeData(fine.c_str()));
    EXPECT_EQ(data.MakeStr(), fine);
}

TEST(ContextDataParse, LargeDocumentsRoundTrip) {
    ContextData data;
    for (int i = 0; i < 50000; ++i) {
        data.SetValueInArray("list", std::to_string(i));
    }
    data.SetValue("long", std::string(1 << 20, 'x'));
    std::string text = data.MakeStr();

    ContextData back;
    ASSERT_TRUE(back.MakeData(text.c_str()));
    EXPECT_EQ(back.GetSize("list"), 50000);
    EXPECT_EQ(back.GetValueStr("long").size(), 1u << 20);
    EXPECT_EQ(text, back.MakeStr());
}

TEST(ContextDataParse, CommentsAreReadPastAndNeverWritten) {
    const struct {
        const char* text;
        const char* compact;
    } cases[] = {
        {"// before\n{\"a\":1}", "{\"a\":1}"},
        {"{\"a\":1, // after a member\n\"b\":2}", "{\"a\":1,\"b\":2}"},
        {"{\"a\": /* inside */ [1, 2]}", "{\"a\":[1,2]}"},
        {"[1] // at the end", "[1]"},
    };
    for (const auto& c : cases) {
        ContextData data = Parsed(c.text);
        const std::string compact = data.MakeStr();
        EXPECT_EQ(compact, c.compact) << c.text;
        ContextData back;
        EXPECT_TRUE(back.MakeData(compact.c_str())) << compact;
    }
    // A value with comments of its own, seen through a view.
    Json::Value value(1);
    value.setComment(std::string("// a comment"), Json::commentBefore);
    ContextData view(&value);
    EXPECT_STREQ(view.MakeStr(), "1");
}
