#include <gtest/gtest.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <sstream>
#include <stdexcept>

#include "Trace.h"

// The replacement pair below is matched (malloc/free); GCC cannot see that
// through the inlined calls.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

// Counts allocations on the test thread, to show that a trace scope with
// tracing off allocates nothing.
static std::atomic<long> g_allocations{0};
void* operator new(std::size_t n) {
    ++g_allocations;
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

namespace {

class CTraced {
public:
    int Outer(int x) {
        KRAV_TRACE("CTraced::Outer");
        return Inner(x) + 1;
    }
    int Inner(int x) {
        KRAV_TRACE("CTraced::Inner");
        context = zul::trace::currentContext();
        return x * 2;
    }
    std::string context;
};

std::shared_ptr<spdlog::logger> captureTo(std::ostringstream& out,
                                          spdlog::level::level_enum level) {
    auto l = std::make_shared<spdlog::logger>(
        "test", std::make_shared<spdlog::sinks::ostream_sink_st>(out));
    l->set_level(level);
    return l;
}

} // namespace

TEST(Trace, ScopeWritesNameSignatureSourceAndLineInItsContext) {
    std::ostringstream out;
    zul::trace::setLogger(captureTo(out, spdlog::level::trace));
    ASSERT_TRUE(zul::trace::isTraceOn());
    CTraced t;
    EXPECT_EQ(t.Outer(4), 9);
    zul::trace::setLogger(nullptr);

    EXPECT_EQ(t.context, "CTraced::Outer > CTraced::Inner");
    EXPECT_EQ(zul::trace::currentContext(), "") << "contexts are popped on the way out";
    const std::string log = out.str();
    const size_t outer = log.find("[CTraced::Outer] ");
    const size_t inner = log.find("[CTraced::Outer > CTraced::Inner] ");
    ASSERT_NE(outer, std::string::npos) << log;
    ASSERT_NE(inner, std::string::npos) << log;
    EXPECT_LT(outer, inner);
    const std::string innerLine = log.substr(inner, log.find('\n', inner) - inner);
    EXPECT_NE(
        innerLine.find("CTraced::Inner | int {anonymous}::CTraced::Inner(int) | zul/trace_test:"),
        std::string::npos)
        << innerLine;
    EXPECT_NE(innerLine.find("0x"), std::string::npos) << "the object: " << innerLine;
    EXPECT_NE(log.find("[trace]"), std::string::npos);
}

TEST(Trace, OffCostsNoFormattingAndNoAllocation) {
    std::ostringstream out;
    zul::trace::setLogger(captureTo(out, spdlog::level::info));
    ASSERT_FALSE(zul::trace::isTraceOn());
    CTraced t;
    t.context.reserve(64);
    const long before = g_allocations.load();
    int sum = 0;
    for (int i = 0; i < 1000; ++i) {
        ZUL_TRACE_SCOPE(&t, "Loop");
        sum += i;
    }
    EXPECT_EQ(g_allocations.load(), before);
    EXPECT_EQ(sum, 499500);
    EXPECT_EQ(out.str(), "");
    zul::trace::setLogger(nullptr);
}

TEST(Trace, AFailingLoggerLeavesTheResultUnchanged) {
    std::ostringstream out;
    auto l = captureTo(out, spdlog::level::trace);
    // spdlog hands sink failures to the error handler; this one throws on.
    struct ThrowingSink : spdlog::sinks::base_sink<spdlog::details::null_mutex> {
        void sink_it_(const spdlog::details::log_msg&) override {
            throw std::runtime_error("disk full");
        }
        void flush_() override {}
    };
    l->sinks().push_back(std::make_shared<ThrowingSink>());
    l->set_error_handler([](const std::string& msg) { throw std::runtime_error(msg); });
    zul::trace::setLogger(l);
    CTraced t;
    EXPECT_EQ(t.Outer(20), 41);
    EXPECT_EQ(t.context, "CTraced::Outer > CTraced::Inner");
    EXPECT_EQ(zul::trace::currentContext(), "");
    zul::trace::setLogger(nullptr);
}

TEST(Trace, SourceTagIsFolderAndFileWithoutExtension) {
    EXPECT_EQ(zul::trace::sourceTag("/work/main/KRAdvancedViews/ViewManager.cpp"),
              "KRAdvancedViews/ViewManager");
    EXPECT_EQ(zul::trace::sourceTag("ViewManager.cpp"), "ViewManager");
    EXPECT_EQ(zul::trace::sourceTag("a.b/dir/File"), "dir/File");
}
