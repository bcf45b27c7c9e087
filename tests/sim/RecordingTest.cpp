// Recordings and their ground-truth sidecar: exact layout on disk, round
// trips, and clear refusals of files that are not recordings.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "RadarFrameFormat.h"
#include "Recording.h"
#include "SceneSynthesizer.h"
#include "SimTestSupport.h"

using namespace radar;
using namespace simtest;

namespace {

off_t FileSize(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? info.st_size : -1;
}

// A recording of n frames from the one-walker scene, written with truth.
void WriteWalker(const std::string& path, int frames, std::vector<std::vector<uint8_t>>* packed,
                 std::vector<std::vector<TruthTarget>>* truth) {
    const Scene scene = ShippedScene("one-walker");
    SceneSynthesizer synthesizer(scene, scene.seed);
    RecordingWriter writer;
    std::string error;
    ASSERT_TRUE(writer.Open(path, true, &error)) << error;
    for (int f = 0; f < frames; ++f) {
        std::vector<uint8_t> bytes(kFrameBytes);
        PackFrame(Synthesize(synthesizer, f).data(), bytes.data());
        ASSERT_TRUE(writer.WriteSlice(bytes.data()));
        ASSERT_TRUE(writer.WriteSlice(bytes.data() + kSliceBytes));
        const std::vector<TruthTarget> targets = synthesizer.TruthAt(FrameTimeS(f));
        ASSERT_TRUE(writer.WriteTruth(f, targets));
        packed->push_back(bytes);
        truth->push_back(targets);
    }
    ASSERT_TRUE(writer.Close(&error)) << error;
}

}  // namespace

TEST(RecordingTruth, LineHasTheContractsExactShape) {
    // The velocity rounds to zero, without a sign.
    TruthTarget target{3, 2.5, -12.34567, -0.00001, -0.53452, 2.44222};
    EXPECT_EQ(TruthLine(17, {target}),
              "{\"frame\":17,\"targets\":[{\"id\":3,\"range\":2.5000,\"angle\":-12.346,"
              "\"velocity\":0.0000,\"x\":-0.5345,\"y\":2.4422}]}");
    EXPECT_EQ(TruthLine(0, {}), "{\"frame\":0,\"targets\":[]}");
    target.id = 4;
    const std::string two = TruthLine(1, {target, target});
    EXPECT_NE(two.find("\"y\":2.4422},{\"id\":4,"), std::string::npos) << two;
}

TEST(RecordingTruth, ParseRoundTripsAndRejectsMalformedLines) {
    const std::string line = TruthLine(123456789012, {{1, 3.21, 44.5, 0.75, 2.25, 2.29},
                                                      {12, 3.21, -59.999, -1.2345, 2.25, 2.29}});
    int64_t frame = -1;
    std::vector<TruthTarget> parsed;
    std::string error;
    ASSERT_TRUE(ParseTruthLine(line, &frame, &parsed, &error)) << error;
    EXPECT_EQ(frame, 123456789012);
    EXPECT_EQ(TruthLine(frame, parsed), line);  // every field of both targets

    for (const char* bad :
         {"", "{", "[]", "{\"frame\":-1,\"targets\":[]}", "{\"frame\":1.5,\"targets\":[]}",
          "{\"frame\":1}", "{\"frame\":1,\"targets\":{}}", "{\"frame\":1,\"targets\":[3]}",
          "{\"frame\":1,\"targets\":[{\"id\":1}]}",
          "{\"frame\":1,\"targets\":[{\"id\":\"x\",\"range\":1,\"angle\":1,"
          "\"velocity\":1,\"x\":1,\"y\":1}]}",
          "{\"frame\":1,\"targets\":[]} {}"}) {
        EXPECT_FALSE(ParseTruthLine(bad, &frame, &parsed, &error)) << bad;
        EXPECT_FALSE(error.empty());
    }
}

TEST(Recording, WritesSlicesBackToBackAndReadsThemBack) {
    TempDir dir;
    const std::string path = dir.File("walk.raw");
    std::vector<std::vector<uint8_t>> packed;
    std::vector<std::vector<TruthTarget>> truth;
    const int frames = 7;
    ASSERT_NO_FATAL_FAILURE(WriteWalker(path, frames, &packed, &truth));

    // Nothing but the slices: frame f's two slices at f * 24576.
    EXPECT_EQ(FileSize(path), static_cast<off_t>(frames) * 24576);
    const std::string raw = ReadText(path);
    for (int f = 0; f < frames; ++f) {
        EXPECT_EQ(raw.compare(static_cast<size_t>(f) * kFrameBytes, kFrameBytes,
                              reinterpret_cast<const char*>(packed[f].data()), kFrameBytes),
                  0)
            << "frame " << f;
    }

    RecordingReader reader;
    std::string error;
    ASSERT_TRUE(reader.Open(path, &error)) << error;
    EXPECT_EQ(reader.FrameCount(), frames);
    std::vector<uint8_t> back(kFrameBytes);
    for (int f : {3, 0, 6, 3}) {
        ASSERT_TRUE(reader.ReadFrame(f, back.data()));
        EXPECT_EQ(back, packed[f]) << "frame " << f;
    }
    EXPECT_FALSE(reader.ReadFrame(frames, back.data()));
    EXPECT_FALSE(reader.ReadFrame(-1, back.data()));

    // One line per frame, each exactly the TruthLine of that frame; read
    // back, the truth writes the same lines again (to the printed digits).
    std::vector<std::vector<TruthTarget>> loaded;
    ASSERT_TRUE(reader.LoadTruth(&loaded, &error)) << error;
    ASSERT_EQ(loaded.size(), truth.size());
    std::istringstream lines(ReadText(TruthPathFor(path)));
    std::string line;
    int count = 0;
    for (; count < frames && std::getline(lines, line); ++count) {
        EXPECT_EQ(line, TruthLine(count, truth[count]));
        EXPECT_EQ(TruthLine(count, loaded[count]), line);
    }
    EXPECT_EQ(count, frames);
    EXPECT_FALSE(std::getline(lines, line)) << line;
}

TEST(Recording, WithoutTruthThereIsNoSidecarAndAnOldOneGoes) {
    TempDir dir;
    const std::string path = dir.File("plain.raw");
    WriteText(TruthPathFor(path), "{\"frame\":0,\"targets\":[]}\n");
    RecordingWriter writer;
    std::string error;
    ASSERT_TRUE(writer.Open(path, false, &error)) << error;
    std::vector<uint8_t> slice(kSliceBytes, 0x80);
    EXPECT_TRUE(writer.WriteSlice(slice.data()));
    EXPECT_TRUE(writer.WriteSlice(slice.data()));
    EXPECT_FALSE(writer.WriteTruth(0, {}));
    ASSERT_TRUE(writer.Close(&error)) << error;
    EXPECT_FALSE(Exists(TruthPathFor(path)));

    RecordingReader reader;
    ASSERT_TRUE(reader.Open(path, &error)) << error;
    std::vector<std::vector<TruthTarget>> truth(3);
    EXPECT_TRUE(reader.LoadTruth(&truth, &error)) << error;
    EXPECT_TRUE(truth.empty());
}

TEST(Recording, WriterReportsHalfFramesAndUnwritablePlaces) {
    TempDir dir;
    RecordingWriter writer;
    std::string error;
    EXPECT_FALSE(writer.Open(dir.File("no/such/dir.raw"), true, &error));
    EXPECT_NE(error.find("cannot create"), std::string::npos) << error;

    const std::string path = dir.File("half.raw");
    ASSERT_TRUE(writer.Open(path, false, &error)) << error;
    EXPECT_FALSE(writer.Open(path, false, &error));
    std::vector<uint8_t> slice(kSliceBytes, 0);
    EXPECT_TRUE(writer.WriteSlice(slice.data()));
    EXPECT_FALSE(writer.Close(&error));
    EXPECT_NE(error.find("middle of a frame"), std::string::npos) << error;
    // Closing again, or a destructor after Close, is harmless.
    EXPECT_TRUE(writer.Close(&error));
}

TEST(Recording, ReaderRefusesWhatIsNotARecording) {
    TempDir dir;
    RecordingReader reader;
    std::string error;
    EXPECT_FALSE(reader.Open(dir.File("missing.raw"), &error));
    EXPECT_NE(error.find("missing.raw"), std::string::npos) << error;

    const std::string empty = dir.File("empty.raw");
    WriteText(empty, "");
    EXPECT_FALSE(reader.Open(empty, &error));
    EXPECT_NE(error.find("not a whole number of frames"), std::string::npos) << error;

    const std::string ragged = dir.File("ragged.raw");
    WriteText(ragged, std::string(kFrameBytes + kSliceBytes, '\0'));
    EXPECT_FALSE(reader.Open(ragged, &error));
    EXPECT_NE(error.find("36864 bytes"), std::string::npos) << error;

    EXPECT_FALSE(reader.Open(dir.File(""), &error));
    EXPECT_NE(error.find("not a regular file"), std::string::npos) << error;
    std::vector<uint8_t> frame(kFrameBytes);
    EXPECT_FALSE(reader.ReadFrame(0, frame.data()));
    std::vector<std::vector<TruthTarget>> truth;
    EXPECT_FALSE(reader.LoadTruth(&truth, &error));
}

TEST(Recording, ReaderRefusesATruthThatDoesNotMatch) {
    TempDir dir;
    const std::string path = dir.File("rec.raw");
    WriteText(path, std::string(2 * kFrameBytes, '\x80'));
    RecordingReader reader;
    std::string error;
    ASSERT_TRUE(reader.Open(path, &error)) << error;
    EXPECT_EQ(reader.FrameCount(), 2);

    struct Case {
        const char* text;
        const char* expected;
    };
    const Case cases[] = {
        {"{\"frame\":0,\"targets\":[]}\n", "for 1 frames, but the recording has 2"},
        {"{\"frame\":0,\"targets\":[]}\n{\"frame\":2,\"targets\":[]}\n",
         ":2: frame 2 where frame 1 was expected"},
        {"{\"frame\":0,\"targets\":[]}\n\n{\"frame\":1,\"targets\":[]}\n", ":2: not a JSON line"},
        {"{\"frame\":0,\"targets\":[{\"id\":1}]}\n{\"frame\":1,\"targets\":[]}\n",
         ":1: targets[0].range"},
    };
    for (const Case& c : cases) {
        WriteText(TruthPathFor(path), c.text);
        std::vector<std::vector<TruthTarget>> truth;
        EXPECT_FALSE(reader.LoadTruth(&truth, &error)) << c.text;
        EXPECT_NE(error.find(c.expected), std::string::npos) << error;
        EXPECT_TRUE(truth.empty());
    }
    WriteText(TruthPathFor(path), "{\"frame\":0,\"targets\":[]}\n{\"frame\":1,\"targets\":[]}");
    std::vector<std::vector<TruthTarget>> truth;
    EXPECT_TRUE(reader.LoadTruth(&truth, &error)) << error;
    EXPECT_EQ(truth.size(), 2u);
}
