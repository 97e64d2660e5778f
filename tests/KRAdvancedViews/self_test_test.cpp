#include <string>
#include <vector>

#include "AdvancedViewsTests.h"
#include "ComTest.h"
#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/host/IHostTestSource.h"
#include "TempHive.h"
#include "TestHost.h"
#include "ViewManager.h"

using krav::test::CTestHost;
using zul::com::ComPtr;
using zul::test::make;

namespace {

struct Outcome {
    std::string check;
    bool passed;
    std::string reason;
};

// Records each report; answers E_ABORT after `stopAfter` reports.
class CRecordedResults final : public IHostTestResults {
public:
    std::vector<Outcome> outcomes;
    size_t stopAfter = 1000;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE Report(const char* check, BOOL passed, const char* reason) override {
        outcomes.push_back({check, passed != 0, reason});
        return outcomes.size() >= stopAfter ? E_ABORT : S_OK;
    }
    std::string failures() const {
        std::string out;
        for (const Outcome& o : outcomes)
            if (!o.passed) out += o.check + ": " + o.reason + "\n";
        return out;
    }
};

class SelfTest : public zul::test::TempHiveTest {
protected:
    HRESULT run(CRecordedResults& results) {
        auto tests = make<CAdvancedViewsTests, IHostTestSource>();
        return tests->RunTests(static_cast<IHostApplication*>(host.Get()), &results);
    }
    ComPtr<CTestHost> host = make<CTestHost, IHostApplication>();
};

} // namespace

// Every check passes against the host, and nothing of the user's is changed:
// not the stored views (which differ from the standard ones), not the camera.
TEST_F(SelfTest, PassesAndLeavesTheUsersViewsAndCameraAlone) {
    {
        auto store = make<CViewManager, IViewManager2>();
        ASSERT_EQ(store->DestroyViewExt("+Z"), S_OK);
        FullViewInfo mine;
        ASSERT_EQ(store->CreateViewInfo("Mine", mine), S_OK);
    }
    const std::string hiveBefore = readFile(userHive_);
    host->eye[0] = 7;
    host->target[2] = -3;
    const float eye[3] = {host->eye[0], host->eye[1], host->eye[2]};

    CRecordedResults results;
    EXPECT_EQ(run(results), S_OK) << results.failures();
    ASSERT_EQ(results.outcomes.size(), 5u);
    EXPECT_EQ(results.failures(), "");
    EXPECT_TRUE(host->messages.empty()) << "messages go to the self-test, not the user";

    EXPECT_TRUE(sameBytes(readFile(userHive_), hiveBefore))
        << "the scratch registry was rolled back";
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(host->eye[i], eye[i], 1e-3) << i;
    EXPECT_NEAR(host->target[2], -3.0f, 1e-3);
    auto store = make<CViewManager, IViewManager2>();
    FullViewInfo info;
    EXPECT_EQ(store->GetViewInfo("+Z", &info), S_FALSE);
    EXPECT_EQ(store->GetViewInfo("Mine", &info), S_OK);
    // HKEY_CURRENT_USER is the user's again.
    HKEY key = nullptr;
    EXPECT_EQ(
        RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\ZUL\\KRAdvancedViews2", 0, KEY_READ, &key),
        ERROR_SUCCESS);
    RegCloseKey(key);
}

// A failing check says why; a host without a 3D view fails at once; a
// results sink that gives up stops the run.
TEST_F(SelfTest, FailuresCarryTheirReason) {
    host->failWith = E_FAIL; // the camera refuses everything
    CRecordedResults broken;
    EXPECT_EQ(run(broken), S_FALSE);
    ASSERT_GE(broken.outcomes.size(), 3u);
    EXPECT_TRUE(broken.outcomes[0].passed) << "the store does not need the camera";
    EXPECT_FALSE(broken.outcomes[1].passed);
    EXPECT_NE(broken.outcomes[1].reason.find("cannot be applied (0x80004005)"), std::string::npos)
        << broken.outcomes[1].reason;
    EXPECT_FALSE(broken.outcomes[2].passed);
    host->failWith = S_OK;

    host->hasView = false;
    CRecordedResults noView;
    EXPECT_EQ(run(noView), S_FALSE);
    ASSERT_EQ(noView.outcomes.size(), 1u);
    EXPECT_EQ(noView.outcomes[0].reason, "the host has no 3D view with a camera");
    host->hasView = true;

    CRecordedResults impatient;
    impatient.stopAfter = 2;
    EXPECT_EQ(run(impatient), S_FALSE) << "not every check ran";
    EXPECT_EQ(impatient.outcomes.size(), 2u);

    auto tests = make<CAdvancedViewsTests, IHostTestSource>();
    EXPECT_EQ(tests->RunTests(nullptr, &impatient), E_POINTER);
}
