#include "RadarFrameProducer.h"

#include "RadarFrameFormat.h"

std::unique_ptr<RadarFrameProducer> RadarFrameProducer::ForScene(const radar::Scene& scene,
                                                                 uint64_t seed) {
    std::unique_ptr<RadarFrameProducer> producer(new RadarFrameProducer());
    producer->m_synthesizer.reset(new radar::SceneSynthesizer(scene, seed));
    producer->m_samples.resize(radar::kFrameSamples);
    return producer;
}

std::unique_ptr<RadarFrameProducer> RadarFrameProducer::ForRecording(
    const std::string& path, std::shared_ptr<const Truth> truth, std::string* error) {
    std::unique_ptr<RadarFrameProducer> producer(new RadarFrameProducer());
    producer->m_reader.reset(new radar::RecordingReader());
    if (!producer->m_reader->Open(path, error)) {
        return nullptr;
    }
    producer->m_truth = std::move(truth);
    return producer;
}

bool RadarFrameProducer::Produce(int64_t frame, uint8_t* bytes,
                                 std::vector<radar::TruthTarget>* people, bool* hasTruth,
                                 std::string* error) {
    people->clear();
    *hasTruth = false;
    if (m_synthesizer) {
        m_synthesizer->SynthesizeFrame(frame, m_samples.data());
        radar::PackFrame(m_samples.data(), bytes);
        *people = m_synthesizer->TruthAt(static_cast<double>(frame) / radar::kFrameRateHz);
        *hasTruth = true;
        return true;
    }
    if (!m_reader->ReadFrame(frame, bytes)) {
        *error = "cannot read frame " + std::to_string(frame) + " of the recording";
        return false;
    }
    if (m_truth && !m_truth->empty()) {
        *hasTruth = true;
        if (frame >= 0 && static_cast<size_t>(frame) < m_truth->size()) {
            *people = (*m_truth)[static_cast<size_t>(frame)];
        }
    }
    return true;
}
