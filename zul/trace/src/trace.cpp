#include "zul/trace/trace.h"

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <vector>

namespace zul::trace {

namespace detail {
std::atomic<int> g_traceState{0};
}

namespace {

thread_local std::vector<const char*> t_context;

std::mutex g_mu;
std::shared_ptr<spdlog::logger> g_logger;

// Renders the nested diagnostic context as the pattern flag %N.
class ContextFlag final : public spdlog::custom_flag_formatter {
public:
    void format(const spdlog::details::log_msg&, const std::tm&,
                spdlog::memory_buf_t& dest) override {
        bool first = true;
        for (const char* name : t_context) {
            if (!first) dest.append(std::string_view(" > "));
            dest.append(std::string_view(name));
            first = false;
        }
    }
    std::unique_ptr<custom_flag_formatter> clone() const override {
        return std::make_unique<ContextFlag>();
    }
};

void applyPattern(spdlog::logger& l) {
    auto f = std::make_unique<spdlog::pattern_formatter>();
    f->add_flag<ContextFlag>('N').set_pattern("%Y-%m-%d %H:%M:%S.%e [%l] [%t] [%N] %v");
    l.set_formatter(std::move(f));
}

std::string configPath() {
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg && *xdg) return std::string(xdg) + "/zul/trace.conf";
    const char* home = std::getenv("HOME");
    return std::string(home ? home : ".") + "/.config/zul/trace.conf";
}

std::shared_ptr<spdlog::logger> makeConfiguredLogger() {
    std::string level, file;
    if (const char* v = std::getenv("ZUL_TRACE"); v && *v) {
        level = v;
    } else {
        std::ifstream in(configPath());
        std::string line;
        while (std::getline(in, line)) {
            if (line.rfind("level=", 0) == 0)
                level = line.substr(6);
            else if (line.rfind("file=", 0) == 0)
                file = line.substr(5);
        }
    }
    if (const char* f = std::getenv("ZUL_TRACE_FILE"); f && *f) file = f;
    spdlog::sink_ptr sink;
    if (!file.empty()) {
        try {
            sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(file);
        } catch (const std::exception&) {
            sink = nullptr; // an unwritable trace file must not stop the host
        }
    }
    if (!sink) sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
    auto l = std::make_shared<spdlog::logger>("zul", std::move(sink));
    applyPattern(*l);
    l->set_level(level.empty() ? spdlog::level::off : spdlog::level::from_str(level));
    l->flush_on(spdlog::level::warn);
    return l;
}

int stateOf(const spdlog::logger& l) {
    return l.should_log(spdlog::level::trace) ? 2 : 1;
}

} // namespace

int detail::configure() noexcept {
    try {
        std::lock_guard lock(g_mu);
        if (!g_logger) g_logger = makeConfiguredLogger();
        const int s = stateOf(*g_logger);
        g_traceState.store(s, std::memory_order_relaxed);
        return s;
    } catch (...) {
        g_traceState.store(1, std::memory_order_relaxed);
        return 1;
    }
}

std::shared_ptr<spdlog::logger> logger() {
    if (detail::g_traceState.load(std::memory_order_relaxed) == 0) detail::configure();
    std::lock_guard lock(g_mu);
    return g_logger;
}

void setLogger(std::shared_ptr<spdlog::logger> replacement) {
    {
        std::lock_guard lock(g_mu);
        if (replacement) applyPattern(*replacement);
        g_logger = std::move(replacement);
    }
    detail::g_traceState.store(0, std::memory_order_relaxed);
    detail::configure();
}

std::string currentContext() {
    std::string out;
    for (const char* name : t_context) {
        if (!out.empty()) out += " > ";
        out += name;
    }
    return out;
}

ContextScope::ContextScope(const char* name) noexcept {
    try {
        t_context.push_back(name ? name : "?");
        pushed_ = true;
    } catch (...) {
    }
}

ContextScope::~ContextScope() {
    if (pushed_) t_context.pop_back();
}

std::string sourceTag(const char* file) {
    std::string path = file ? file : "";
    const size_t dot = path.rfind('.');
    const size_t last = path.rfind('/');
    if (dot != std::string::npos && (last == std::string::npos || dot > last)) path.resize(dot);
    const size_t cut =
        last == std::string::npos || last == 0 ? std::string::npos : path.rfind('/', last - 1);
    return cut == std::string::npos ? path : path.substr(cut + 1);
}

void Scope::enter(const void* object, const char* qualifiedName, const char* signature,
                  const char* file, int line) noexcept {
    try {
        t_context.push_back(qualifiedName ? qualifiedName : "?");
        pushed_ = true;
        std::shared_ptr<spdlog::logger> l = logger();
        if (l)
            l->trace("{} {} | {} | {}:{}", object, qualifiedName ? qualifiedName : "?",
                     signature ? signature : "?", sourceTag(file), line);
    } catch (...) {
        // Tracing never changes what the traced operation does.
    }
}

void Scope::leave() noexcept {
    t_context.pop_back();
}

} // namespace zul::trace
