// tessivo-platform as a person or a script uses it.
#include "ServiceTest.h"

namespace {

class PlatformToolTest : public ServiceTest {};

}  // namespace

TEST_F(PlatformToolTest, InitSeedsTheDefaultTv) {
    // The fixture ran init; change something, then init puts it back.
    ASSERT_EQ(Platform({"vconf", "set", "db/comss/countrycode", "string", "NZ"}).exitCode, 0);
    ASSERT_EQ(Platform({"vconf", "set", "my/extra", "int", "3"}).exitCode, 0);
    ASSERT_EQ(Platform({"init"}).exitCode, 0);
    EXPECT_EQ(Platform({"vconf", "get", "db/comss/countrycode"}).out, "US\n");
    EXPECT_EQ(Platform({"vconf", "get", "db/homedatacontrol/disclaimeragrees"}).out,
              "{\"presence\":\"true\"}\n");
    EXPECT_EQ(Platform({"vconf", "get", "db/sysman/rotation_state"}).out, "1\n");
    EXPECT_EQ(Platform({"feature", "get", "com.norvale/featureconf/tavlo_tv"}).out, "true\n");
    EXPECT_EQ(Platform({"vconf", "get", "my/extra"}).exitCode, 1);
    EXPECT_EQ(Platform({"dir"}).out, m_platformDir + "\n");
}

TEST_F(PlatformToolTest, BadKeysValuesAndCommandsAreRefusedClearly) {
    CommandResult escape = Platform({"feature", "set", "../../etc/x", "true"});
    EXPECT_EQ(escape.exitCode, 1);
    EXPECT_NE(escape.err.find("not a valid key"), std::string::npos) << escape.err;

    CommandResult notBool = Platform({"feature", "set", "com.norvale/featureconf/tavlo_tv", "yes"});
    EXPECT_EQ(notBool.exitCode, 1);
    EXPECT_NE(notBool.err.find("not a bool value"), std::string::npos) << notBool.err;
    EXPECT_EQ(Platform({"feature", "get", "com.norvale/featureconf/tavlo_tv"}).out, "true\n");

    EXPECT_EQ(Platform({"vconf", "set", "a/b", "int", "4x"}).exitCode, 1);
    EXPECT_EQ(Platform({"vconf", "set", "a/b", "float", "4"}).exitCode, 2);
    EXPECT_EQ(Platform({"vconf", "get", "never/set"}).exitCode, 1);
    EXPECT_EQ(Platform({"launch"}).exitCode, 2);
    EXPECT_EQ(Platform({}).exitCode, 2);
}
