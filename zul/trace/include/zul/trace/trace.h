// The host's trace logger: off unless ZUL_TRACE names a level (or the trace
// configuration file does), with a per-thread nested diagnostic context that
// every record shows.
//
// Environment: ZUL_TRACE=trace|debug|info|warn|error|critical|off;
// ZUL_TRACE_FILE=path (else standard error). Configuration file, read when
// ZUL_TRACE is not set: ${XDG_CONFIG_HOME:-~/.config}/zul/trace.conf with
// lines "level=trace" and "file=/path".
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "zul/com/com.h"

namespace spdlog {
class logger;
}

namespace zul::trace {

namespace detail {
// 0: not yet configured, 1: trace records off, 2: on.
ZUL_PLATFORM_API extern std::atomic<int> g_traceState;
ZUL_PLATFORM_API int configure() noexcept;
} // namespace detail

// True when the trace level is on. After the first call it costs one load
// and one predictable branch.
inline bool isTraceOn() noexcept {
    int s = detail::g_traceState.load(std::memory_order_relaxed);
    if (s == 0) [[unlikely]]
        s = detail::configure();
    return s == 2;
}

// The logger every host and module writes to.
ZUL_PLATFORM_API std::shared_ptr<spdlog::logger> logger();
// Replaces the logger (tests, or a host with its own sinks); the trace state
// follows the new logger's level. A null logger restores the configured one.
ZUL_PLATFORM_API void setLogger(std::shared_ptr<spdlog::logger> replacement);

// The current thread's nested context, outermost first, " > " between.
ZUL_PLATFORM_API std::string currentContext();

// Pushes `name` (a string that outlives the scope, such as a literal) on the
// thread's nested diagnostic context for the scope's lifetime.
class ZUL_PLATFORM_API ContextScope {
public:
    explicit ContextScope(const char* name) noexcept;
    ~ContextScope();
    ContextScope(const ContextScope&) = delete;
    ContextScope& operator=(const ContextScope&) = delete;

private:
    bool pushed_ = false;
};

// "KRAdvancedViews/ViewManager" for ".../KRAdvancedViews/ViewManager.cpp":
// the last folder and the file name without its extension.
ZUL_PLATFORM_API std::string sourceTag(const char* file);

// An operation's trace scope: when tracing is on, opens a nested context named
// by the operation and writes one record with the object, the qualified
// name, the full signature, the source file and the line. When tracing is off
// it does nothing beyond one branch: no formatting, no allocation. Nothing
// that fails inside tracing reaches the traced operation.
class ZUL_PLATFORM_API Scope {
public:
    Scope(const void* object, const char* qualifiedName, const char* signature, const char* file,
          int line) noexcept {
        if (isTraceOn()) [[unlikely]]
            enter(object, qualifiedName, signature, file, line);
    }
    ~Scope() {
        if (pushed_) [[unlikely]]
            leave();
    }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

private:
    void enter(const void* object, const char* qualifiedName, const char* signature,
               const char* file, int line) noexcept;
    void leave() noexcept;
    bool pushed_ = false;
};

} // namespace zul::trace

#if defined(_MSC_VER)
#define ZUL_FUNCSIG __FUNCSIG__
#else
#define ZUL_FUNCSIG __PRETTY_FUNCTION__
#endif

// Opens the trace scope of an operation of `object` (null for a free function).
#define ZUL_TRACE_SCOPE(object, qualifiedName)                                                     \
    ::zul::trace::Scope zulTraceScope_(object, qualifiedName, ZUL_FUNCSIG, __FILE__, __LINE__)
