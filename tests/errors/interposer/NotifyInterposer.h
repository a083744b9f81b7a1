// A stand-in for the framework's error manager: it defines the library's
// notification sink and records every call.
#pragma once

#include <KxTamarindCommon.h>

#include <string>
#include <vector>

struct RecordedNotification {
    const KxTamarind::CObjectDataReferenceBase* origin;
    int type;
    int event;
    const void* property;
    IUnknown* partner;
    std::string text;
};

std::vector<RecordedNotification>& InterposedNotifications();
