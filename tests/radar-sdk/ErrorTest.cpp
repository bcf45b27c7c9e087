// The SDK's error reporting: codes, texts, the thread-local last error and
// the error callback.
#include <gtest/gtest.h>
#include <ifxRadarSDK.h>

#include <atomic>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

struct CallbackRecord {
    int calls = 0;
    ifx_Error_t error = IFX_OK;
    std::string file;
    std::string function;
    int line = 0;
};

void RecordCallback(ifx_Error_t error, const char* file, const char* function, int line,
                    void* userData) {
    auto* record = static_cast<CallbackRecord*>(userData);
    ++record->calls;
    record->error = error;
    record->file = file;
    record->function = function;
    record->line = line;
}

class RadarSdkError : public ::testing::Test {
protected:
    void SetUp() override { ifx_error_set_internal(IFX_OK, nullptr, nullptr, 0); }
    void TearDown() override { ifx_error_set_callback(nullptr, nullptr); }
};

TEST_F(RadarSdkError, EveryCodeHasItsValueAndTextAndOthersAreUnknown) {
    // The values are the SDK's ABI: callers record a null argument
    // themselves as 0x10001.
    const std::tuple<ifx_Error_t, int, const char*> codes[] = {
        {IFX_OK, 0, "no error"},
        {IFX_ERROR_ARGUMENT_NULL, 0x10001, "argument is null"},
        {IFX_ERROR_ARGUMENT_INVALID, 0x10002, "argument is invalid"},
        {IFX_ERROR_ARGUMENT_OUT_OF_BOUNDS, 0x10003, "argument out of bounds"},
        {IFX_ERROR_DIMENSION_MISMATCH, 0x10004, "dimension mismatch"},
        {IFX_ERROR_MEMORY_ALLOCATION_FAILED, 0x10005, "memory allocation failed"},
        {IFX_ERROR_INTERNAL, 0x10006, "internal error"},
    };
    for (const auto& code : codes) {
        EXPECT_EQ(std::get<0>(code), std::get<1>(code)) << std::get<2>(code);
        EXPECT_STREQ(ifx_error_to_string(std::get<0>(code)), std::get<2>(code));
    }
    for (ifx_Error_t unknown : {-1, 1, 0x10000, 0x10007, 0x7fffffff}) {
        EXPECT_STREQ(ifx_error_to_string(unknown), "unknown error") << unknown;
    }
}

TEST_F(RadarSdkError, SetInternalIsWhatGetReturnsUntilTheNextCall) {
    EXPECT_EQ(ifx_error_get(), IFX_OK);
    ifx_error_set_internal(IFX_ERROR_ARGUMENT_NULL, __FILE__, __func__, __LINE__);
    ifx_error_get();
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_ARGUMENT_NULL) << "reading does not clear it";
    // Codes the SDK does not know are kept as given.
    ifx_error_set(0x7abc);
    EXPECT_EQ(ifx_error_get(), 0x7abc);
    // A successful SDK call clears it; a destroy does not touch it.
    ifx_vec_destroy_r(nullptr);
    EXPECT_EQ(ifx_error_get(), 0x7abc);
    ifx_Vector_R_t* vector = ifx_vec_create_r(1);
    EXPECT_EQ(ifx_error_get(), IFX_OK);
    ifx_vec_destroy_r(vector);
}

TEST_F(RadarSdkError, CallbackSeesEachRecordedErrorWithItsLocation) {
    CallbackRecord record;
    ifx_error_set_callback(&RecordCallback, &record);

    const int line = __LINE__;
    ifx_error_set_internal(IFX_ERROR_DIMENSION_MISMATCH, "here.cpp", "Here", line);
    EXPECT_EQ(record.calls, 1);
    EXPECT_EQ(record.error, IFX_ERROR_DIMENSION_MISMATCH);
    EXPECT_EQ(record.file + ":" + record.function, "here.cpp:Here");
    EXPECT_EQ(record.line, line);

    // The SDK's own failures go the same way, naming the SDK function.
    EXPECT_EQ(ifx_vec_create_r(0), nullptr);
    EXPECT_EQ(record.calls, 2);
    EXPECT_EQ(record.error, IFX_ERROR_ARGUMENT_INVALID);
    EXPECT_EQ(record.function, "ifx_vec_create_r");
    EXPECT_GT(record.line, 0);

    // Clearing is not an error; null locations arrive as empty texts.
    ifx_error_set_internal(IFX_OK, "x", "y", 1);
    EXPECT_EQ(record.calls, 2);
    ifx_error_set_internal(IFX_ERROR_INTERNAL, nullptr, nullptr, 0);
    EXPECT_EQ(record.calls, 3);
    EXPECT_EQ(record.file + record.function, "");

    ifx_error_set_callback(nullptr, nullptr);
    ifx_error_set_internal(IFX_ERROR_INTERNAL, "x", "y", 1);
    EXPECT_EQ(record.calls, 3);
}

TEST_F(RadarSdkError, EachThreadHasItsOwnLastError) {
    ifx_error_set_internal(IFX_ERROR_ARGUMENT_OUT_OF_BOUNDS, "main", "main", 1);
    ifx_Error_t seenAtStart = -1;
    ifx_Error_t seenAfterFailure = -1;
    std::thread other([&] {
        seenAtStart = ifx_error_get();
        ifx_mat_create_r(0, 3);
        seenAfterFailure = ifx_error_get();
    });
    other.join();
    EXPECT_EQ(seenAtStart, IFX_OK);
    EXPECT_EQ(seenAfterFailure, IFX_ERROR_ARGUMENT_INVALID);
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_ARGUMENT_OUT_OF_BOUNDS);
}

TEST_F(RadarSdkError, CallbackMayBeChangedWhileOtherThreadsRecordErrors) {
    // Threads recording while the callback changes: each call reaches one
    // installed callback or none, and nothing races (the thread sanitizer
    // build checks).
    std::atomic<int> calls{0};
    auto counting = [](ifx_Error_t, const char*, const char*, int, void* userData) {
        static_cast<std::atomic<int>*>(userData)->fetch_add(1);
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 1000; ++i) {
                ifx_error_set(IFX_ERROR_INTERNAL);
            }
        });
    }
    for (int i = 0; i < 100; ++i) {
        ifx_error_set_callback(counting, &calls);
        ifx_error_set_callback(nullptr, nullptr);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_LE(calls.load(), 4000);
}

TEST(RadarSdkVersion, FullStringNamesTheSdkAndItsVersion) {
    const std::string version = ifx_sdk_get_version_string();
    EXPECT_EQ(version, std::to_string(IFX_SDK_VERSION_MAJOR) + "." +
                           std::to_string(IFX_SDK_VERSION_MINOR) + "." +
                           std::to_string(IFX_SDK_VERSION_PATCH));
    const std::string full = ifx_sdk_get_version_string_full();
    EXPECT_EQ(full.rfind("tessivo radar-sdk " + version + " (", 0), 0u) << full;
    EXPECT_EQ(full.back(), ')') << full;
}

}  // namespace
