#include "KPILogger.h"

#include <KPILogFramework.h>

#include "ContextLog.h"
#include "ContextString.h"

namespace {

const char kCategory[] = "22_useractivity";
const char kModule[] = "SEGMENTATION";
const char kEventId[] = "EV001";

}  // namespace

void KPILogger::KPILogAdd(KPI_EVENT_TYPE type, std::string sDesc) {
    (void)type;
    // A std::string always has character data; the check stays for callers
    // that build the text from a C string that may have gone wrong, and costs
    // nothing.
    if (sDesc.c_str() == nullptr) {
        KAE_LOGE("sDesc is null");
        return;
    }
    std::string escaped = ContextString::UrlEncode(sDesc);
    // Logged at error level on purpose: the report must show in the field
    // logs, whose level filter drops information lines.
    KAE_LOGE("%s(%s)[%s]", kEventId, kModule, escaped.c_str());
    KPILogFramework::CLogger* logger = KPILogFramework::CLogger::GetInstance();
    if (logger == nullptr) {
        KAE_LOGE("AddEventLogSync Fails : %d", 0);
        return;
    }
    int ret = logger->AddEventLogSync(kCategory, kModule, kEventId, escaped);
    if (ret != 1) {
        KAE_LOGE("AddEventLogSync Fails : %d", ret);
    }
}
