// OrvGuiTrace.h: the whole public interface of the diagnostics layer.
//
//   #include <orvgui/OrvGuiTrace.h>
//   OrvGuiTrace::ReportEvent("MYAPP", 1, "started", nullptr, 0, OrvGuiTrace::kEventInformation,
//                            OrvGuiTrace::kCategoryApplication);
#pragma once

#include "base/OrvGuiBase.h"
#include "trace/EventReport.h"
#include "trace/Trace.h"
#include "trace/TraceServer.h"
