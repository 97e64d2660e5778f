// The trace scope every operation of the module opens on entry.
#pragma once

#include "zul/trace/trace.h"

// In a member function: KRAV_TRACE("CViewManager::_createView");
#define KRAV_TRACE(qualifiedName) ZUL_TRACE_SCOPE(this, qualifiedName)
// In a static or file-local function.
#define KRAV_TRACE_STATIC(qualifiedName) ZUL_TRACE_SCOPE(nullptr, qualifiedName)
