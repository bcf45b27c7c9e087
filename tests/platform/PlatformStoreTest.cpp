#include <gtest/gtest.h>

#include <errno.h>
#include <stdlib.h>
#include <system_info.h>

#include <fstream>
#include <string>

#include "PlatformStore.h"

namespace {

class PlatformStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        char templ[] = "/tmp/tessivo-store-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        m_dir = templ;
        setenv("TESSIVO_PLATFORM_DIR", m_dir.c_str(), 1);
    }
    void TearDown() override {
        unsetenv("TESSIVO_PLATFORM_DIR");
        std::string cmd = "rm -rf '" + m_dir + "'";
        ASSERT_EQ(system(cmd.c_str()), 0);
    }
    void WriteRaw(const std::string& relative, const std::string& content) {
        std::string path = m_dir + "/" + relative;
        ASSERT_EQ(PlatformStore::MakeDirs(path.substr(0, path.rfind('/'))), 0);
        std::ofstream(path) << content;
    }
    std::string m_dir;
};

}  // namespace

TEST_F(PlatformStoreTest, RootDirFollowsTheEnvironment) {
    EXPECT_EQ(PlatformStore::RootDir(), m_dir);
    unsetenv("TESSIVO_PLATFORM_DIR");
    setenv("XDG_RUNTIME_DIR", "/run/user/4242", 1);
    EXPECT_EQ(PlatformStore::RootDir(), "/run/user/4242/tessivo-platform");
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(PlatformStore::RootDir(), "/tmp/tessivo-platform-" + std::to_string(getuid()));
}

TEST_F(PlatformStoreTest, ValuesRoundTripWithTheirTypeAndKeySlashesBecomeFolders) {
    PlatformStore::Value v{PlatformStore::Type::String, "line one\nline two"};
    ASSERT_EQ(PlatformStore::Write("vconf", "db/comss/countrycode", v), 0);
    PlatformStore::Value back;
    ASSERT_EQ(PlatformStore::Read("vconf", "db/comss/countrycode", &back), 0);
    EXPECT_EQ(back.type, PlatformStore::Type::String);
    EXPECT_EQ(back.text, "line one\nline two");
    std::ifstream file(m_dir + "/vconf/db/comss/countrycode");
    EXPECT_TRUE(file.good());

    ASSERT_EQ(PlatformStore::Write("vconf", "a/int", {PlatformStore::Type::Int, "-17"}), 0);
    ASSERT_EQ(PlatformStore::Read("vconf", "a/int", &back), 0);
    EXPECT_EQ(back.type, PlatformStore::Type::Int);
    EXPECT_EQ(back.text, "-17");
}

TEST_F(PlatformStoreTest, RefusesKeysThatLeaveTheStoreAndValuesThatDoNotFitTheirType) {
    PlatformStore::Value v{PlatformStore::Type::Int, "1"};
    for (const char* bad :
         {"", "/etc/passwd", "../x", "a/../../x", "a//b", "a/", ".hidden", "a b", "tab\tkey"}) {
        EXPECT_EQ(PlatformStore::Write("vconf", bad, v), -EINVAL) << bad;
        EXPECT_FALSE(PlatformStore::IsValidKey(bad)) << bad;
    }
    EXPECT_EQ(PlatformStore::Write("vconf", "k", {PlatformStore::Type::Int, "12abc"}), -EINVAL);
    EXPECT_EQ(PlatformStore::Write("vconf", "k", {PlatformStore::Type::Int, "99999999999"}),
              -EINVAL);
    EXPECT_EQ(PlatformStore::Write("vconf", "k", {PlatformStore::Type::Bool, "yes"}), -EINVAL);
    EXPECT_EQ(PlatformStore::Write("vconf", "k", {PlatformStore::Type::Double, "nan"}), -EINVAL);
    PlatformStore::Value back;
    EXPECT_EQ(PlatformStore::Read("vconf", "k", &back), -ENOENT);
}

TEST_F(PlatformStoreTest, MalformedFilesAreReportedNotTrusted) {
    WriteRaw("vconf/no/newline", "int");
    WriteRaw("vconf/bad/type", "float\n1.5");
    WriteRaw("vconf/bad/int", "int\nseven");
    PlatformStore::Value back;
    EXPECT_EQ(PlatformStore::Read("vconf", "no/newline", &back), -EINVAL);
    EXPECT_EQ(PlatformStore::Read("vconf", "bad/type", &back), -EINVAL);
    EXPECT_EQ(PlatformStore::Read("vconf", "bad/int", &back), -EINVAL);
    EXPECT_EQ(PlatformStore::Read("vconf", "missing/key", &back), -ENOENT);
}

TEST_F(PlatformStoreTest, FeatureFlagsAnswerThroughSystemInfo) {
    const char* key = "com.norvale/featureconf/tavlo_tv";
    bool flag = true;
    EXPECT_EQ(system_info_get_custom_bool(key, &flag), SYSTEM_INFO_ERROR_NOT_SUPPORTED);
    ASSERT_EQ(PlatformStore::Write("features", key, {PlatformStore::Type::Bool, "false"}), 0);
    EXPECT_EQ(system_info_get_custom_bool(key, &flag), SYSTEM_INFO_ERROR_NONE);
    EXPECT_FALSE(flag);
    ASSERT_EQ(PlatformStore::Write("features", key, {PlatformStore::Type::Bool, "true"}), 0);
    EXPECT_EQ(system_info_get_custom_bool(key, &flag), SYSTEM_INFO_ERROR_NONE);
    EXPECT_TRUE(flag);

    ASSERT_EQ(PlatformStore::Write("features", "x/int", {PlatformStore::Type::Int, "1"}), 0);
    EXPECT_EQ(system_info_get_custom_bool("x/int", &flag), SYSTEM_INFO_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(system_info_get_custom_bool(nullptr, &flag), SYSTEM_INFO_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(system_info_get_custom_bool(key, nullptr), SYSTEM_INFO_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(system_info_get_custom_bool("../escape", &flag), SYSTEM_INFO_ERROR_INVALID_PARAMETER);
}
