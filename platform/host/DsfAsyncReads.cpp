#include "DsfAsyncReads.h"

#include "DsfStore.h"

DsfAsyncReads& DsfAsyncReads::Get() {
    static DsfAsyncReads* reads = new DsfAsyncReads();
    return *reads;
}

int DsfAsyncReads::Queue(const char* subject, const char* argument, DSF_Callback callback,
                         void* user) {
    if (!DsfStore::IsValidSubject(subject) || callback == nullptr) {
        return DSF_ERROR_INVALID_PARAMETER;
    }
    Answer answer{DSF_OK, subject, std::string(), callback, user};
    answer.result = DsfStore::Answer(subject, argument, &answer.json);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_answers.push_back(std::move(answer));
    if (!m_scheduled) {
        m_scheduled = true;
        g_idle_add(_OnIdle, this);
    }
    return DSF_OK;
}

gboolean DsfAsyncReads::_OnIdle(gpointer self) {
    static_cast<DsfAsyncReads*>(self)->_DeliverQueued();
    return G_SOURCE_REMOVE;
}

void DsfAsyncReads::_DeliverQueued() {
    std::deque<Answer> answers;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        answers.swap(m_answers);
        // Reads made by the callbacks below are answered by a later idle.
        m_scheduled = false;
    }
    for (Answer& answer : answers) {
        answer.callback(answer.result, answer.subject.c_str(), &answer.json[0], answer.user);
    }
}
