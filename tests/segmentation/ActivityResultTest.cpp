// The activity result document: its exact text, the rows and values it
// keeps or drops, and its refusal of missing containers.
#include <gtest/gtest.h>
#include <math.h>

#include <string>
#include <vector>

#include "ActivityResult.h"

namespace {

// Owned SDK containers of the pipeline's shapes, released at the end.
class ResultContainers {
public:
    ResultContainers() : m_segments(ifx_vec_create_r(6)), m_tracks(ifx_mat_create_r(10, 4)) {}
    ~ResultContainers() {
        ifx_vec_destroy_r(m_segments);
        ifx_mat_destroy_r(m_tracks);
    }
    void SetSegments(std::vector<float> values) {
        for (size_t i = 0; i < values.size(); ++i) {
            vAt(m_segments, i) = values[i];
        }
    }
    void SetTrack(uint32_t row, float id, float range, float angle, float velocity) {
        const float values[4] = {id, range, angle, velocity};
        for (uint32_t c = 0; c < 4; ++c) {
            mAt(m_tracks, row, c) = values[c];
        }
    }
    std::string Text() {
        std::string text;
        EXPECT_TRUE(MakeActivityResultText(m_segments, m_tracks, &text));
        return text;
    }

    ifx_Vector_R_t* m_segments;
    ifx_Matrix_R_t* m_tracks;
};

// The document with this segment text and these track objects.
std::string Document(const std::string& segment, const std::string& tracks = "") {
    return "{\"result\":[{\"segments\":[{\"num_of_segment\":6,\"segment\":\"" + segment + "\"}]" +
           (tracks.empty() ? "" : ",\"tracks\":[" + tracks + "]") + "}],\"status\":\"success\"}";
}

struct RecordedError {
    ifx_Error_t error = IFX_OK;
    std::string function;
};

void RecordError(ifx_Error_t error, const char*, const char* function, int, void* userData) {
    auto* recorded = static_cast<RecordedError*>(userData);
    recorded->error = error;
    recorded->function = function;
}

}  // namespace

TEST(ActivityResult, DocumentTextIsExactlyTheServicesFormat) {
    ResultContainers containers;
    containers.SetSegments({0, 1, 0, 0, 0, 0});
    containers.SetTrack(0, 1.0f, 1.75f, -12.5f, 0.25f);
    EXPECT_EQ(containers.Text(),
              "{\"result\":[{\"segments\":[{\"num_of_segment\":6,\"segment\":\"0,1,0,0,0,0\"}],"
              "\"tracks\":[{\"angle\":-12.5,\"id\":1.0,\"range\":1.75,\"velocity\":0.25}]}],"
              "\"status\":\"success\"}");

    // Floats are widened to double, not rounded to what they were meant to be.
    containers.SetTrack(0, 1.0f, 1.2f, 0.0f, 0.0f);
    EXPECT_NE(containers.Text().find("\"range\":1.2000000476837158"), std::string::npos);
}

TEST(ActivityResult, NoTrackRowsMeansNoTracksKey) {
    ResultContainers containers;
    // Values in the other columns do not make a row a track.
    containers.SetTrack(3, 0.0f, 2.0f, 10.0f, 0.5f);
    EXPECT_EQ(containers.Text(), Document("0,0,0,0,0,0"));
}

TEST(ActivityResult, SegmentValuesAreTruncatedTowardZeroIntoNineteenCharacters) {
    struct Case {
        std::vector<float> values;
        const char* text;
    };
    const float big = -1000000;
    const Case cases[] = {
        {{1.9f, -1.9f, 0.99f, -0.5f, 2.0f, 7.5f}, "1,-1,0,0,2,7"},
        {{big, big, big, big, big, big}, "-1000000,-1000000,-"},
        // Values beyond int and NaN come out as int's limits and 0, never as
        // undefined conversions.
        {{NAN, 3e9f, -3e9f, 0, 0, 0}, "0,2147483647,-21474"},
    };
    for (const Case& c : cases) {
        ResultContainers containers;
        containers.SetSegments(c.values);
        EXPECT_EQ(containers.Text(), Document(c.text));
    }
}

TEST(ActivityResult, EmptyRowsAreSkippedAndLaterRowsStillCount) {
    ResultContainers containers;
    containers.SetTrack(0, 4.0f, 1.0f, -20.0f, 0.5f);
    containers.SetTrack(1, 0.0f, 9.0f, 9.0f, 9.0f);
    containers.SetTrack(2, 2.0f, 3.0f, 30.0f, -0.25f);
    containers.SetTrack(9, 7.0f, 4.5f, 0.0f, 0.0f);
    const std::string first = "{\"angle\":-20.0,\"id\":4.0,\"range\":1.0,\"velocity\":0.5},";
    const std::string rest =
        "{\"angle\":30.0,\"id\":2.0,\"range\":3.0,\"velocity\":-0.25},"
        "{\"angle\":0.0,\"id\":7.0,\"range\":4.5,\"velocity\":0.0}";
    EXPECT_EQ(containers.Text(), Document("0,0,0,0,0,0", first + rest));
    // A negative id is not an empty row.
    containers.SetTrack(1, -3.0f, 1.0f, 1.0f, 1.0f);
    EXPECT_EQ(
        containers.Text(),
        Document("0,0,0,0,0,0",
                 first + "{\"angle\":1.0,\"id\":-3.0,\"range\":1.0,\"velocity\":1.0}," + rest));
    // A row with any value that is not a number is no track.
    for (int column = 0; column < 4; ++column) {
        for (float bad : {NAN, INFINITY, -INFINITY}) {
            float values[4] = {5.0f, 2.0f, 10.0f, 0.5f};
            values[column] = bad;
            containers.SetTrack(1, values[0], values[1], values[2], values[3]);
            EXPECT_EQ(containers.Text(), Document("0,0,0,0,0,0", first + rest))
                << "column " << column << " " << bad;
        }
    }
}

TEST(ActivityResult, StridedContainersAreReadThroughTheirStridesIntoAFreshDocument) {
    // Segments every other element, tracks as rows of a wider block.
    std::vector<float> segmentData = {0, 99, 1, 99, 0, 99, 1, 99, 0, 99, 1, 99};
    ifx_Vector_R_t segments;
    ifx_vec_rawview_r(&segments, segmentData.data(), 6, 2);
    std::vector<float> trackData(10 * 6, 0.0f);
    trackData[6 * 1 + 0] = 5.0f;  // row 1
    trackData[6 * 1 + 1] = 2.5f;
    trackData[6 * 1 + 4] = 123.0f;  // beyond the four columns: not part of the row
    ifx_Matrix_R_t tracks;
    ifx_mat_rawview_r(&tracks, trackData.data(), 10, 4, 6);
    ContextData document;
    ASSERT_TRUE(document.MakeData("{\"stale\":1}"));
    ASSERT_TRUE(BuildActivityResult(&segments, &tracks, &document));
    EXPECT_EQ(std::string(document.MakeStr()),
              Document("0,1,0,1,0,1", "{\"angle\":0.0,\"id\":5.0,\"range\":2.5,\"velocity\":0.0}"));
}

TEST(ActivityResult, MissingOrSmallContainersAreRefusedWithTheSdkError) {
    ResultContainers good;
    ifx_Vector_R_t* fiveSegments = ifx_vec_create_r(5);
    ifx_Matrix_R_t* threeColumns = ifx_mat_create_r(10, 3);
    ifx_Vector_R_t noData = {};  // a view with no data is a null container
    RecordedError recorded;
    ifx_error_set_callback(&RecordError, &recorded);
    ContextData document;
    ASSERT_TRUE(document.MakeData("{\"kept\":true}"));
    struct Case {
        const ifx_Vector_R_t* segments;
        const ifx_Matrix_R_t* tracks;
        ContextData* document;
        ifx_Error_t error;
    };
    const Case cases[] = {
        {nullptr, good.m_tracks, &document, 0x10001},
        {good.m_segments, nullptr, &document, IFX_ERROR_ARGUMENT_NULL},
        {good.m_segments, good.m_tracks, nullptr, IFX_ERROR_ARGUMENT_NULL},
        {&noData, good.m_tracks, &document, IFX_ERROR_ARGUMENT_NULL},
        {fiveSegments, good.m_tracks, &document, IFX_ERROR_DIMENSION_MISMATCH},
        {good.m_segments, threeColumns, &document, IFX_ERROR_DIMENSION_MISMATCH},
    };
    for (const Case& c : cases) {
        recorded = RecordedError();
        EXPECT_FALSE(BuildActivityResult(c.segments, c.tracks, c.document)) << &c - cases;
        EXPECT_EQ(ifx_error_get(), c.error) << &c - cases;
        EXPECT_EQ(recorded.error, c.error) << &c - cases;
        EXPECT_EQ(recorded.function, "BuildActivityResult") << &c - cases;
    }
    EXPECT_EQ(std::string(document.MakeStr()), "{\"kept\":true}");
    std::string text = "untouched";
    EXPECT_FALSE(MakeActivityResultText(nullptr, nullptr, &text));
    EXPECT_EQ(text, "untouched");
    ifx_error_set_callback(nullptr, nullptr);
    ifx_vec_destroy_r(fiveSegments);
    ifx_mat_destroy_r(threeColumns);
}
