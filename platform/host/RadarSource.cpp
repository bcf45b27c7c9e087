#include "RadarSource.h"

#include <math.h>

#include "RadarFrameFormat.h"
#include "Recording.h"

std::shared_ptr<const RadarSource> RadarSource::Load(const RadarSourceSettings& settings,
                                                     bool strictTruth, std::string* error,
                                                     std::string* warning) {
    std::shared_ptr<RadarSource> source(new RadarSource());
    source->m_settings = settings;
    source->m_truth = std::make_shared<RadarFrameProducer::Truth>();
    if (settings.path.empty()) {
        *error = settings.kind == RadarSourceSettings::Kind::Scene ? "no scene file configured"
                                                                   : "no recording configured";
        return nullptr;
    }

    if (settings.kind == RadarSourceSettings::Kind::Scene) {
        std::string why;
        if (!radar::LoadScene(settings.path, &source->m_scene, &why)) {
            *error = "scene \"" + settings.path + "\": " + why;
            return nullptr;
        }
        source->m_seed =
            settings.hasSeed ? static_cast<uint64_t>(settings.seed) : source->m_scene.seed;
        source->m_truthSynthesizer.reset(
            new radar::SceneSynthesizer(source->m_scene, source->m_seed));
        return source;
    }

    radar::RecordingReader reader;
    std::string why;
    if (!reader.Open(settings.path, &why)) {
        *error = "recording \"" + settings.path + "\": " + why;
        return nullptr;
    }
    if (reader.FrameCount() <= 0) {
        *error = "recording \"" + settings.path + "\" holds no frames";
        return nullptr;
    }
    source->m_frames = reader.FrameCount();
    auto truth = std::make_shared<RadarFrameProducer::Truth>();
    if (!reader.LoadTruth(truth.get(), &why)) {
        std::string problem = "truth of \"" + settings.path + "\": " + why;
        if (strictTruth) {
            *error = problem;
            return nullptr;
        }
        if (warning != nullptr) {
            *warning = problem + "; replaying without truth";
        }
        truth->clear();
    }
    source->m_truth = truth;
    return source;
}

std::shared_ptr<const RadarSource> RadarSource::EmptyRoom() {
    std::shared_ptr<RadarSource> source(new RadarSource());
    source->m_scene.name = "empty room";
    source->m_seed = source->m_scene.seed;
    source->m_truthSynthesizer.reset(new radar::SceneSynthesizer(source->m_scene, source->m_seed));
    source->m_truth = std::make_shared<RadarFrameProducer::Truth>();
    return source;
}

int64_t RadarSource::SourceFrame(int64_t n) const {
    if (n < 0) {
        return -1;
    }
    if (!IsRecording()) {
        return n;
    }
    if (n < m_frames) {
        return n;
    }
    return m_settings.loop ? n % m_frames : -1;
}

std::vector<radar::TruthTarget> RadarSource::PeopleAt(double seconds) const {
    if (!(seconds >= 0.0)) {
        seconds = 0.0;
    }
    if (!IsRecording()) {
        std::lock_guard<std::mutex> lock(m_truthMutex);
        return m_truthSynthesizer->TruthAt(seconds);
    }
    int64_t frame = SourceFrame(static_cast<int64_t>(floor(seconds * radar::kFrameRateHz)));
    if (frame < 0 || static_cast<size_t>(frame) >= m_truth->size()) {
        return {};
    }
    return (*m_truth)[static_cast<size_t>(frame)];
}

std::unique_ptr<RadarFrameProducer> RadarSource::NewProducer(std::string* error) const {
    if (!IsRecording()) {
        return RadarFrameProducer::ForScene(m_scene, m_seed);
    }
    return RadarFrameProducer::ForRecording(m_settings.path, m_truth, error);
}
