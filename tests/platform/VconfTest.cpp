// vconf of the simulated TV: typed keys, and change notifications that reach
// the main context of every watching process, one per set, in order.
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vconf.h>

#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "MainContextSupport.h"
#include "PlatformStore.h"
#include "VconfStore.h"

using maincontext::PlatformDirTest;
using maincontext::RunTool;
using maincontext::RunUntil;

namespace {

struct Notification {
    std::string key;
    int type = VCONF_TYPE_NONE;
    int intValue = 0;
    std::string text;  // string nodes only
    std::thread::id thread;
};

// Keeps what its callback is given. Callbacks run on the main context, which
// the test thread runs, so no lock is needed (ThreadSanitizer would see one
// arriving on another thread).
struct Recorder {
    std::vector<Notification> got;

    static void Callback(keynode_t* node, void* user) {
        Notification n;
        n.key = vconf_keynode_get_name(node);
        n.type = vconf_keynode_get_type(node);
        n.intValue = vconf_keynode_get_int(node);
        const char* text = vconf_keynode_get_str(node);
        n.text = text != nullptr ? text : "";
        n.thread = std::this_thread::get_id();
        static_cast<Recorder*>(user)->got.push_back(n);
    }

    std::vector<int> Ints() const {
        std::vector<int> values;
        for (const Notification& n : got) {
            values.push_back(n.intValue);
        }
        return values;
    }
    std::vector<std::string> Texts() const {
        std::vector<std::string> values;
        for (const Notification& n : got) {
            values.push_back(n.text);
        }
        return values;
    }
};

class VconfTest : public PlatformDirTest {
protected:
    // Sets the sentinel key and runs the main context until its notification
    // arrives: every set made before it has been delivered by then.
    void Flush() {
        size_t before = m_sentinel.got.size();
        ASSERT_EQ(vconf_set_int(kSentinel, static_cast<int>(before)), VCONF_OK);
        ASSERT_TRUE(RunUntil([&] { return m_sentinel.got.size() > before; }));
    }
    void WatchSentinel() {
        ASSERT_EQ(vconf_notify_key_changed(kSentinel, Recorder::Callback, &m_sentinel), VCONF_OK);
    }
    void TearDown() override {
        vconf_ignore_key_changed(kSentinel, Recorder::Callback);
        PlatformDirTest::TearDown();
    }

    static constexpr const char* kSentinel = "test/sentinel";
    Recorder m_sentinel;
};

}  // namespace

TEST_F(VconfTest, ValuesAreTypedAndReadsOfAnotherTypeFail) {
    int value = 7;
    EXPECT_EQ(vconf_get_int("db/missing", &value), VCONF_ERROR);
    EXPECT_EQ(vconf_get_str("db/missing"), nullptr);

    ASSERT_EQ(vconf_set_int("db/sysman/rotation_state", -3), VCONF_OK);
    ASSERT_EQ(vconf_get_int("db/sysman/rotation_state", &value), VCONF_OK);
    EXPECT_EQ(value, -3);
    EXPECT_EQ(vconf_get_str("db/sysman/rotation_state"), nullptr);

    const std::string odd = "tab\there\nnew line \\ back\x01slash \xc3\xa9";
    ASSERT_EQ(vconf_set_str("db/comss/countrycode", odd.c_str()), VCONF_OK);
    char* text = vconf_get_str("db/comss/countrycode");
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text, odd);
    free(text);  // a malloc'ed copy: the sanitizer build checks the pairing
    value = 7;
    EXPECT_EQ(vconf_get_int("db/comss/countrycode", &value), VCONF_ERROR);
    EXPECT_EQ(value, 7);

    // A key takes the type of its last set.
    ASSERT_EQ(vconf_set_int("db/comss/countrycode", 1), VCONF_OK);
    EXPECT_EQ(vconf_get_str("db/comss/countrycode"), nullptr);

    ASSERT_EQ(PlatformStore::Write("vconf", "a/bool", {PlatformStore::Type::Bool, "true"}), 0);
    EXPECT_EQ(vconf_get_int("a/bool", &value), VCONF_ERROR);

    EXPECT_EQ(vconf_get_int(nullptr, &value), VCONF_ERROR);
    EXPECT_EQ(vconf_get_int("db/sysman/rotation_state", nullptr), VCONF_ERROR);
    EXPECT_EQ(vconf_set_int("../escape", 1), VCONF_ERROR);
    EXPECT_EQ(vconf_set_str("a/b", nullptr), VCONF_ERROR);
    EXPECT_EQ(vconf_notify_key_changed("a b", Recorder::Callback, nullptr), VCONF_ERROR);
    EXPECT_EQ(vconf_notify_key_changed("a/b", nullptr, nullptr), VCONF_ERROR);
    EXPECT_EQ(vconf_ignore_key_changed("a/b", Recorder::Callback), VCONF_ERROR);
    EXPECT_EQ(vconf_keynode_get_name(nullptr), nullptr);
    EXPECT_EQ(vconf_keynode_get_int(nullptr), 0);
    EXPECT_EQ(vconf_keynode_get_str(nullptr), nullptr);
}

TEST_F(VconfTest, SetsOfThisProcessAreNotifiedLaterOnTheMainContext) {
    const char* key = "memory/motion-sensor-service/motion_sensor_state";
    Recorder recorder;
    ASSERT_EQ(vconf_notify_key_changed(key, Recorder::Callback, &recorder), VCONF_OK);

    ASSERT_EQ(vconf_set_int(key, 2), VCONF_OK);
    EXPECT_TRUE(recorder.got.empty()) << "never inside the set";
    ASSERT_TRUE(RunUntil([&] { return recorder.got.size() == 1; }));
    EXPECT_EQ(recorder.got[0].key, key);
    EXPECT_EQ(recorder.got[0].type, VCONF_TYPE_INT);
    EXPECT_EQ(recorder.got[0].intValue, 2);
    EXPECT_EQ(recorder.got[0].thread, std::this_thread::get_id());

    // The mode thread answers a claim from its own thread; the answer still
    // arrives on the main context.
    std::thread worker([&] { EXPECT_EQ(vconf_set_int(key, 1), VCONF_OK); });
    worker.join();
    ASSERT_TRUE(RunUntil([&] { return recorder.got.size() == 2; }));
    EXPECT_EQ(recorder.got[1].intValue, 1);
    EXPECT_EQ(recorder.got[1].thread, std::this_thread::get_id());

    EXPECT_EQ(vconf_ignore_key_changed(key, Recorder::Callback), VCONF_OK);
}

TEST_F(VconfTest, SetsOfAnotherProcessAreNotified) {
    Recorder recorder;
    ASSERT_EQ(vconf_notify_key_changed("db/comss/countrycode", Recorder::Callback, &recorder),
              VCONF_OK);
    ASSERT_EQ(RunTool({"vconf", "set", "db/comss/countrycode", "string", "KR"}).exitCode, 0);
    ASSERT_EQ(RunTool({"vconf", "set", "db/comss/countrycode", "string", "GB"}).exitCode, 0);
    ASSERT_TRUE(RunUntil([&] { return recorder.got.size() >= 2; }));
    EXPECT_EQ(recorder.Texts(), (std::vector<std::string>{"KR", "GB"}));
    EXPECT_EQ(recorder.got[0].type, VCONF_TYPE_STRING);
    EXPECT_EQ(vconf_ignore_key_changed("db/comss/countrycode", Recorder::Callback), VCONF_OK);
}

TEST_F(VconfTest, EverySetIsNotifiedOnceWithItsOwnValueInOrder) {
    Recorder quick;
    ASSERT_EQ(vconf_notify_key_changed("q/int", Recorder::Callback, &quick), VCONF_OK);
    ASSERT_EQ(vconf_set_int("q/int", 1), VCONF_OK);
    ASSERT_EQ(vconf_set_int("q/int", 2), VCONF_OK);
    ASSERT_TRUE(RunUntil([&] { return quick.got.size() >= 2; }));
    // The file holds 2 by the time either is delivered; each carries its own.
    EXPECT_EQ(quick.Ints(), (std::vector<int>{1, 2}));

    Recorder strings;
    ASSERT_EQ(vconf_notify_key_changed("q/str", Recorder::Callback, &strings), VCONF_OK);
    const std::vector<std::string> texts = {"", "a\tb", "line\nbreak\r\n", "\\n is not a newline",
                                            std::string("\x7f\x1b[31mred\x1b[0m")};
    for (const std::string& text : texts) {
        ASSERT_EQ(vconf_set_str("q/str", text.c_str()), VCONF_OK);
    }
    ASSERT_TRUE(RunUntil([&] { return strings.got.size() >= texts.size(); }));
    EXPECT_EQ(strings.Texts(), texts);

    // Two threads and another process at once: each source in its own order,
    // nothing lost, nothing twice.
    constexpr int kSets = 150;
    Recorder a;
    Recorder b;
    Recorder c;
    ASSERT_EQ(vconf_notify_key_changed("burst/a", Recorder::Callback, &a), VCONF_OK);
    ASSERT_EQ(vconf_notify_key_changed("burst/b", Recorder::Callback, &b), VCONF_OK);
    ASSERT_EQ(vconf_notify_key_changed("burst/c", Recorder::Callback, &c), VCONF_OK);
    auto burst = [](const char* key) {
        for (int i = 0; i < kSets; ++i) {
            EXPECT_EQ(vconf_set_int(key, i), VCONF_OK);
        }
    };
    std::thread first(burst, "burst/a");
    std::thread second(burst, "burst/b");
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(RunTool({"vconf", "set", "burst/c", "int", std::to_string(i)}).exitCode, 0);
    }
    first.join();
    second.join();
    ASSERT_TRUE(RunUntil(
        [&] { return a.got.size() >= kSets && b.got.size() >= kSets && c.got.size() >= 3; }));
    std::vector<int> expected;
    for (int i = 0; i < kSets; ++i) {
        expected.push_back(i);
    }
    EXPECT_EQ(a.Ints(), expected);
    EXPECT_EQ(b.Ints(), expected);
    EXPECT_EQ(c.Ints(), (std::vector<int>{0, 1, 2}));
    int last = -1;
    ASSERT_EQ(vconf_get_int("burst/a", &last), VCONF_OK);
    EXPECT_EQ(last, kSets - 1);

    for (const char* key : {"q/int", "q/str", "burst/a", "burst/b", "burst/c"}) {
        EXPECT_EQ(vconf_ignore_key_changed(key, Recorder::Callback), VCONF_OK) << key;
    }
}

TEST_F(VconfTest, ARegistrationHearsOnlyOfLaterSets) {
    // Sets before the process's first registration...
    ASSERT_EQ(vconf_set_int("late/key", 1), VCONF_OK);
    Recorder first;
    ASSERT_EQ(vconf_notify_key_changed("late/key", Recorder::Callback, &first), VCONF_OK);
    ASSERT_EQ(vconf_set_int("late/key", 2), VCONF_OK);
    ASSERT_TRUE(RunUntil([&] { return !first.got.empty() && first.got.back().intValue == 2; }));
    EXPECT_EQ(first.Ints(), (std::vector<int>{2}));

    // ... and sets made while the process already follows the journal but
    // before this registration, not yet delivered.
    WatchSentinel();
    ASSERT_EQ(vconf_set_int("late/other", 3), VCONF_OK);
    Recorder second;
    ASSERT_EQ(vconf_notify_key_changed("late/other", Recorder::Callback, &second), VCONF_OK);
    ASSERT_EQ(vconf_set_int("late/other", 4), VCONF_OK);
    Flush();
    EXPECT_EQ(second.Ints(), (std::vector<int>{4}));

    EXPECT_EQ(vconf_ignore_key_changed("late/key", Recorder::Callback), VCONF_OK);
    EXPECT_EQ(vconf_ignore_key_changed("late/other", Recorder::Callback), VCONF_OK);
}

TEST_F(VconfTest, IgnoreStopsDeliveryAndRegisteringAgainOnlyReplacesTheUserData) {
    WatchSentinel();
    Recorder old;
    Recorder replacement;
    ASSERT_EQ(vconf_notify_key_changed("k/ignored", Recorder::Callback, &old), VCONF_OK);
    ASSERT_EQ(vconf_notify_key_changed("k/ignored", Recorder::Callback, &replacement), VCONF_OK);
    ASSERT_EQ(vconf_set_int("k/ignored", 1), VCONF_OK);
    Flush();
    EXPECT_TRUE(old.got.empty());
    EXPECT_EQ(replacement.Ints(), (std::vector<int>{1}));

    // Set, then ignore before the main context runs: the queued change is
    // not delivered either.
    ASSERT_EQ(vconf_set_int("k/ignored", 2), VCONF_OK);
    ASSERT_EQ(vconf_ignore_key_changed("k/ignored", Recorder::Callback), VCONF_OK);
    ASSERT_EQ(vconf_set_int("k/ignored", 3), VCONF_OK);
    Flush();
    EXPECT_EQ(replacement.Ints(), (std::vector<int>{1}));
    EXPECT_EQ(vconf_ignore_key_changed("k/ignored", Recorder::Callback), VCONF_ERROR);
}

namespace {

// Stops watching from inside its first notification, watches another key
// and sets it, as the data collector does when the data service turns ready.
struct SelfIgnoring {
    int calls = 0;
    Recorder other;

    static void Callback(keynode_t* node, void* user) {
        auto* self = static_cast<SelfIgnoring*>(user);
        self->calls++;
        EXPECT_EQ(vconf_ignore_key_changed(vconf_keynode_get_name(node), Callback), VCONF_OK);
        EXPECT_EQ(vconf_notify_key_changed("inside/other", Recorder::Callback, &self->other),
                  VCONF_OK);
        EXPECT_EQ(vconf_set_int("inside/other", vconf_keynode_get_int(node) * 10), VCONF_OK);
    }
};

// Removes another registration of the same change before it is called.
void IgnoreTheOther(keynode_t* node, void* user) {
    (*static_cast<int*>(user))++;
    EXPECT_EQ(vconf_ignore_key_changed(vconf_keynode_get_name(node), Recorder::Callback), VCONF_OK);
}

}  // namespace

TEST_F(VconfTest, CallbacksMayIgnoreRegisterAndSetFromInside) {
    WatchSentinel();
    SelfIgnoring watcher;
    ASSERT_EQ(
        vconf_notify_key_changed("memory/data-service/ready", SelfIgnoring::Callback, &watcher),
        VCONF_OK);
    ASSERT_EQ(vconf_set_int("memory/data-service/ready", 1), VCONF_OK);
    ASSERT_EQ(vconf_set_int("memory/data-service/ready", 2), VCONF_OK);
    ASSERT_TRUE(RunUntil([&] { return watcher.other.got.size() == 1; }));
    Flush();
    EXPECT_EQ(watcher.calls, 1);
    EXPECT_EQ(watcher.other.Ints(), (std::vector<int>{10}));
    EXPECT_EQ(vconf_ignore_key_changed("inside/other", Recorder::Callback), VCONF_OK);

    int ignorerCalls = 0;
    Recorder victim;
    ASSERT_EQ(vconf_notify_key_changed("inside/shared", IgnoreTheOther, &ignorerCalls), VCONF_OK);
    ASSERT_EQ(vconf_notify_key_changed("inside/shared", Recorder::Callback, &victim), VCONF_OK);
    ASSERT_EQ(vconf_set_int("inside/shared", 5), VCONF_OK);
    Flush();
    EXPECT_EQ(ignorerCalls, 1);
    EXPECT_TRUE(victim.got.empty()) << "removed before its turn";
    EXPECT_EQ(vconf_ignore_key_changed("inside/shared", IgnoreTheOther), VCONF_OK);
}

TEST_F(VconfTest, WatchersSurviveResetsTruncationGarbageAndALostFolder) {
    const char* key = "db/comss/countrycode";
    const std::string journal = m_dir + "/vconf/.journal";
    Recorder recorder;
    ASSERT_EQ(vconf_notify_key_changed(key, Recorder::Callback, &recorder), VCONF_OK);

    // init replaces the journal and seeds the default TV through the set path.
    ASSERT_EQ(RunTool({"init"}).exitCode, 0);
    ASSERT_EQ(RunTool({"vconf", "set", key, "string", "NZ"}).exitCode, 0);
    ASSERT_TRUE(RunUntil([&] { return recorder.got.size() >= 2; }));
    EXPECT_EQ(recorder.Texts(), (std::vector<std::string>{"US", "NZ"}));

    // Cut short in place: what is written after the cut is still delivered.
    recorder.got.clear();
    ASSERT_EQ(vconf_set_str(key, std::string(200, 'x').c_str()), VCONF_OK);
    ASSERT_TRUE(RunUntil([&] { return recorder.got.size() == 1; }));
    ASSERT_EQ(truncate(journal.c_str(), 0), 0);
    ASSERT_EQ(vconf_set_str(key, "FR"), VCONF_OK);
    ASSERT_TRUE(RunUntil([&] { return recorder.got.size() >= 2; }));
    EXPECT_EQ(recorder.got[1].text, "FR");

    // Lines that are not ours are skipped.
    {
        std::ofstream out(journal, std::ios::app);
        out << "no tabs at all\n" << key << "\tint\tnot-a-number\n" << key << "\tstring\tbad\\q\n";
    }
    ASSERT_EQ(vconf_set_str(key, "DE"), VCONF_OK);
    ASSERT_TRUE(RunUntil([&] { return recorder.got.size() >= 3; }));
    EXPECT_EQ(recorder.got[2].text, "DE");

    // The whole area removed and made again by the next set.
    std::string cmd = "rm -rf '" + m_dir + "/vconf'";
    ASSERT_EQ(system(cmd.c_str()), 0);
    ASSERT_EQ(vconf_set_str(key, "IT"), VCONF_OK);
    ASSERT_TRUE(RunUntil([&] { return recorder.got.size() >= 4; }));
    // The new folder is watched again (the kernel reports the old one gone
    // a little later, hence two more sets): later sets wake the watcher too.
    for (const char* country : {"ES", "PT"}) {
        size_t before = recorder.got.size();
        ASSERT_EQ(vconf_set_str(key, country), VCONF_OK);
        ASSERT_TRUE(RunUntil([&] { return recorder.got.size() > before; })) << country;
    }
    EXPECT_EQ(recorder.Texts(),
              (std::vector<std::string>{std::string(200, 'x'), "FR", "DE", "IT", "ES", "PT"}));

    EXPECT_EQ(vconf_ignore_key_changed(key, Recorder::Callback), VCONF_OK);
}
