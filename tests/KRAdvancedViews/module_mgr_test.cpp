#include <cmath>

#include "AdvancedViewsModuleMgr.h"
#include "ComTest.h"
#include "TempHive.h"
#include "TestModuleHost.h"

using krav::test::CTestModuleHost;
using krav::test::CTestStandardViewsDialog;
using krav::test::kTestViewerId;
using zul::com::ComPtr;
using zul::test::make;

class ModuleMgr : public zul::test::TempHiveTest {
protected:
    void SetUp() override {
        TempHiveTest::SetUp();
        host = make<CTestModuleHost, IHostModuleSite>();
        mgr = make<CAdvancedViewsModuleMgr, IAdvancedViewsModuleMgr>();
        static_cast<IObjectWithSite*>(mgr.Get())->SetSite(
            static_cast<IHostModuleSite*>(host.Get()));
    }
    void TearDown() override {
        mgr->_stop();
        krav::SetDialogFactories(nullptr, nullptr);
        TempHiveTest::TearDown();
    }
    IZulModule* module() { return static_cast<IZulModule*>(mgr.Get()); }
    bool near(const float* v, float x, float y, float z) {
        return std::fabs(v[0] - x) < 1e-3 && std::fabs(v[1] - y) < 1e-3 &&
               std::fabs(v[2] - z) < 1e-3;
    }

    ComPtr<CTestModuleHost> host;
    ComPtr<CAdvancedViewsModuleMgr> mgr;
};

TEST_F(ModuleMgr, StartStopsAtTheFirstFailureAndStopReleasesInOrder) {
    const std::vector<std::string> steps = {"GetModuleValue(module)", "GetModuleValue(frame)",
                                            "GetObject(frame)", "InstallMenu(234)",
                                            "RegisterModuleUI(77)"};
    EXPECT_EQ(module()->Start(), S_OK);
    EXPECT_EQ(host->calls, steps);
    host->calls.clear();
    EXPECT_EQ(module()->Stop(), S_OK);
    EXPECT_EQ(host->calls, (std::vector<std::string>{"RemoveMenu(234)", "UnregisterModuleUI(77)"}));
    EXPECT_EQ(module()->Stop(), E_FAIL) << "nothing held any more";

    for (size_t k = 0; k < steps.size(); ++k) {
        SCOPED_TRACE(steps[k]);
        auto fresh = make<CAdvancedViewsModuleMgr, IAdvancedViewsModuleMgr>();
        static_cast<IObjectWithSite*>(fresh.Get())
            ->SetSite(static_cast<IHostModuleSite*>(host.Get()));
        host->calls.clear();
        host->failOn = steps[k];
        EXPECT_EQ(fresh->_start(), E_ACCESSDENIED);
        EXPECT_EQ(host->calls, std::vector<std::string>(steps.begin(),
                                                        steps.begin() + static_cast<long>(k) + 1));
        host->failOn.clear();
        fresh->_stop();
    }
    auto noSite = make<CAdvancedViewsModuleMgr, IAdvancedViewsModuleMgr>();
    EXPECT_EQ(noSite->_start(), E_POINTER);
    EXPECT_EQ(static_cast<IZulModule*>(noSite.Get())->AttachViewer(kTestViewerId), E_FAIL);
}

TEST_F(ModuleMgr, AttachAndDetachNest) {
    ASSERT_EQ(module()->Start(), S_OK);
    host->calls.clear();
    ASSERT_EQ(module()->AttachViewer(kTestViewerId), S_OK);
    ASSERT_EQ(module()->AttachViewer(kTestViewerId), S_OK);
    EXPECT_EQ(host->calls, (std::vector<std::string>{"CreateModuleObject(store)",
                                                     "CreateModuleObject(navigator)"}));
    int n = 0;
    ASSERT_EQ(mgr->GetNumberViews(&n), S_OK);
    EXPECT_EQ(n, 8);
    EXPECT_EQ(mgr->viewMenu().at(1), "+X") << "slot i holds the view of index i";
    ASSERT_EQ(module()->DetachViewer(kTestViewerId), S_OK);
    EXPECT_EQ(host->objects.size(), 2u);
    ASSERT_EQ(module()->DetachViewer(kTestViewerId), S_OK);
    EXPECT_TRUE(host->objects.empty());
    EXPECT_EQ(host->count("Deactivate"), 2);
    EXPECT_EQ(host->count("Destroy"), 2);
    DWORD viewer = 9;
    ASSERT_EQ(mgr->GetCurrentLum3DViewHandle(&viewer), S_OK);
    EXPECT_EQ(viewer, 0u);
    EXPECT_EQ(mgr->AlignToAxis(PositiveX), E_POINTER) << "no navigator after the last detach";
    EXPECT_EQ(mgr->OnCommand(7132), S_OK) << "a command without a navigator does nothing";
}

TEST_F(ModuleMgr, CommandsReachTheCamera) {
    ASSERT_EQ(module()->Start(), S_OK);
    ASSERT_EQ(module()->AttachViewer(kTestViewerId), S_OK);
    auto& cam = *host->viewer.Get();
    cam.calls.clear();
    ASSERT_EQ(mgr->OnCommand(7132), S_OK);
    ASSERT_EQ(mgr->OnCommand(32803), S_OK);
    EXPECT_EQ(cam.calls, (std::vector<std::string>{"RotateCamera(0,0,1,90)", "Redraw",
                                                   "TranslateCamera(-10,0,0)", "Redraw"}));

    // A stored "+X" wins over the computed alignment: the store's record is applied (orthographic).
    cam.perspective = true;
    ASSERT_EQ(mgr->OnCommand(7145), S_OK);
    EXPECT_FALSE(cam.perspective);
    ASSERT_EQ(mgr->DeleteView("+X"), S_OK);
    cam.perspective = true;
    cam.target[0] = cam.target[1] = cam.target[2] = 0;
    ASSERT_EQ(mgr->OnCommand(7145), S_OK);
    EXPECT_TRUE(cam.perspective) << "computed alignment: no projection change";
    EXPECT_TRUE(near(cam.eye, -1, 0, 0));

    // The control dialog does not exist yet: showing it fails and the flag is restored.
    EXPECT_EQ(mgr->OnCommand(7133), E_FAIL);
    EXPECT_EQ(mgr->OnCommand(7133), E_FAIL)
        << "still hidden, so the next toggle tries to show again";
    EXPECT_EQ(mgr->OnCommand(7139), S_OK) << "the Standard Views toggle works without a dialog";
    EXPECT_EQ(mgr->OnCommand(7130), S_OK);
    ASSERT_EQ(mgr->OnCommand(7148), S_OK);
    EXPECT_EQ(host->count("ExecuteCommand(6585)"), 1);
    host->popupChoice = 7147;
    cam.calls.clear();
    ASSERT_EQ(mgr->OnCommand(7131), S_OK);
    EXPECT_EQ(host->count("TrackPopupMenu(235)"), 1);
    EXPECT_EQ(cam.count("SetUpVector"), 1) << "the chosen +Z ran";
    // The view menu: 17001 + index applies that view.
    cam.perspective = true;
    ASSERT_EQ(mgr->OnCommand(17001 + 6), S_OK); // -Z, index 6
    EXPECT_FALSE(cam.perspective);
    std::string name;
    EXPECT_EQ(mgr->_getViewName(17001 + 6, name), S_OK);
    EXPECT_EQ(name, "-Z");
    EXPECT_EQ(mgr->_getViewName(17001 + 200, name), E_FAIL);
}

TEST_F(ModuleMgr, ViewMenuFollowsTheStore) {
    mgr->SetMenuInstallMode(TRUE);
    ASSERT_EQ(module()->Start(), S_OK);
    EXPECT_EQ(host->count("InstallMenuWithHandler(205)"), 1);
    ASSERT_EQ(module()->AttachViewer(kTestViewerId), S_OK);
    ASSERT_EQ(host->menuItems.size(), 8u);
    EXPECT_EQ(host->menuItems[0].first, 17002u);
    EXPECT_EQ(host->menuItems[0].second.first, "+X");

    ASSERT_EQ(mgr->AddView("Mine"), S_OK);
    EXPECT_EQ(mgr->viewMenu().at(9), "Mine");
    ASSERT_EQ(mgr->ReplaceView("Mine"), S_OK);
    EXPECT_EQ(mgr->ReplaceView("Nope"), E_FAIL);
    ASSERT_EQ(mgr->RenameView("Mine", "Yours"), S_OK);
    EXPECT_EQ(mgr->viewMenu().at(9), "Yours");
    ASSERT_EQ(mgr->SetDefaultView("Yours"), S_OK);
    EXPECT_EQ(mgr->defaultViewName(), "Yours");
    char buf[32];
    ULONG len = sizeof buf;
    ASSERT_EQ(mgr->GetDefaultView(&len, buf), S_OK);
    EXPECT_STREQ(buf, "Yours");
    ASSERT_EQ(mgr->DeleteView("Yours"), S_OK);
    EXPECT_EQ(mgr->defaultViewName(), "");
    EXPECT_EQ(host->menuItems.size(), 8u);
    EXPECT_EQ(mgr->DeleteView("Yours"), E_POINTER);

    // A load is one batch: the menu is rebuilt once, at its end.
    const std::string file = (dir_ / "two.qjv").string();
    writeFile(file, "KRAdvancedViews Persistence File\n2\nName:A\nChange:0\nName:B\nChange:0\n");
    std::vector<char> path(file.begin(), file.end());
    path.push_back('\0');
    ASSERT_EQ(mgr->LoadViews(path.data(), TextFile), S_OK);
    EXPECT_EQ(mgr->viewMenu().at(9), "A");
    EXPECT_EQ(mgr->viewMenu().at(10), "B");
    EXPECT_EQ(host->menuItems.size(), 10u);
    EXPECT_EQ(host->menuItems.back().first, 17001u + 10);

    // Deleting an early view rewrites the later ones; the table keeps step.
    ASSERT_EQ(mgr->DeleteView("+Y"), S_OK);
    int n = 0;
    mgr->GetNumberViews(&n);
    EXPECT_EQ(n, 9);
    ComPtr<IViewManager2> store;
    for (auto& [cookie, obj] : host->objects)
        if (SUCCEEDED(obj->QueryInterface(
                IID_IViewManager2, reinterpret_cast<void**>(store.ReleaseAndGetAddressOf()))))
            break;
    ASSERT_TRUE(store);
    for (size_t k = 1; k < mgr->viewMenu().size(); ++k) {
        if (mgr->viewMenu()[k].empty()) continue;
        FullViewInfo info;
        ASSERT_EQ(store->GetViewInfo(mgr->viewMenu()[k].c_str(), &info), S_OK);
        EXPECT_EQ(info.iViewIndex, static_cast<int>(k)) << mgr->viewMenu()[k];
    }
}

TEST_F(ModuleMgr, NameListsAndCapacities) {
    ASSERT_EQ(module()->Start(), S_OK);
    ASSERT_EQ(module()->AttachViewer(kTestViewerId), S_OK);
    const std::string all = "+X;+Y;+Z;-X;-Y;-Z;+Isometric;-Isometric";
    ULONG len = 0;
    EXPECT_EQ(mgr->GetViewNamesExt(&len, nullptr), E_OUTOFMEMORY);
    EXPECT_EQ(len, all.size() + 1);
    std::vector<char> buf(all.size() + 1, '#');
    len = static_cast<ULONG>(all.size());
    EXPECT_EQ(mgr->GetViewNamesExt(&len, buf.data()), E_OUTOFMEMORY);
    EXPECT_EQ(buf[0], '#') << "nothing written when too small";
    len = static_cast<ULONG>(buf.size());
    EXPECT_EQ(mgr->GetViewNamesExt(&len, nullptr), E_POINTER);
    EXPECT_EQ(mgr->GetViewNamesExt(&len, buf.data()), S_OK);
    EXPECT_EQ(std::string(buf.data()), all);
    EXPECT_EQ(mgr->GetViewNamesExt(nullptr, buf.data()), E_POINTER);
    char untouched[4] = "abc";
    EXPECT_EQ(mgr->GetViewNames(untouched), S_OK);
    EXPECT_STREQ(untouched, "abc");
}

TEST_F(ModuleMgr, LockedAxisDisablesItsCommandsAndViews) {
    mgr->SetMenuInstallMode(TRUE);
    ASSERT_EQ(module()->Start(), S_OK);
    ASSERT_EQ(module()->AttachViewer(kTestViewerId), S_OK);
    for (int axis = 1; axis <= 3; ++axis) {
        SCOPED_TRACE(axis);
        ASSERT_EQ(mgr->UpdateLockedVec(axis), S_OK);
        for (UINT id = 7142; id <= 7147; ++id)
            EXPECT_EQ(mgr->alignEnabled(id), ((id - 7142) % 3) + 1 != UINT(axis)) << id;
        // Views looking straight along the locked axis are disabled: +X -X (1,4), +Y -Y (2,5), +Z
        // -Z (3,6).
        for (int k = 1; k <= 8; ++k) {
            const bool along = k <= 6 && ((k - 1) % 3) + 1 == axis;
            EXPECT_EQ(mgr->viewMenuEnabled().at(k), along ? 0 : 1) << mgr->viewMenu().at(k);
        }
    }
    host->popupChoice = 0;
    ASSERT_EQ(mgr->OnCommand(7131), S_OK);
    EXPECT_EQ(host->popupDisabled, (std::vector<UINT>{7144, 7147}));
    auto& cam = *host->viewer.Get();
    cam.calls.clear();
    ASSERT_EQ(mgr->OnCommand(17001 + 3), S_OK); // +Z, disabled
    EXPECT_TRUE(cam.calls.empty());
    ASSERT_EQ(mgr->UpdateLockedVec(0), S_OK);
    for (UINT id = 7142; id <= 7147; ++id)
        EXPECT_EQ(mgr->alignEnabled(id), 1);
}

TEST_F(ModuleMgr, PicksForTheDialog) {
    ASSERT_EQ(module()->Start(), S_OK);
    ASSERT_EQ(module()->AttachViewer(kTestViewerId), S_OK);
    EXPECT_EQ(module()->NotifyPicked(), E_UNEXPECTED) << "no dialog in a host without windows";
    ASSERT_EQ(module()->DetachViewer(kTestViewerId), S_OK);

    krav::SetDialogFactories(&CTestStandardViewsDialog::factory, nullptr);
    host->window = 0x99;
    ASSERT_EQ(module()->AttachViewer(kTestViewerId), S_OK);
    EXPECT_EQ(host->count("AdoptWindow"), 1);
    auto* dialog = CTestStandardViewsDialog::last;
    ASSERT_NE(dialog, nullptr);
    host->calls.clear();
    ASSERT_EQ(mgr->HandlePickForDialog(1), S_OK);
    ASSERT_EQ(mgr->HandlePickForDialog(0), S_OK);
    EXPECT_EQ(host->calls, (std::vector<std::string>{"BeginPick", "GetPickMode", "SetPickMode(1)",
                                                     "EndPick", "SetPickMode(7)"}));
    ASSERT_EQ(module()->NotifyPicked(), S_OK);
    EXPECT_TRUE(near(dialog->picked, 1, 2, 3)) << "a point pick";
    dialog->pointPick = FALSE;
    ASSERT_EQ(module()->NotifyPicked(), S_OK);
    EXPECT_TRUE(near(dialog->picked, 1, 2, -3)) << "a part pick: the middle of its box";
    ASSERT_EQ(mgr->OnCommand(7139), S_OK);
    EXPECT_TRUE(dialog->shown);
    ASSERT_EQ(mgr->AddView("Seen"), S_OK);
    EXPECT_EQ(dialog->events.back(), "Created(Seen)");
    host->calls.clear();
    ASSERT_EQ(module()->Stop(), S_OK);
    EXPECT_EQ(host->calls.front(), "GetModuleValue(frame)");
    EXPECT_EQ(host->count("ReleaseWindow"), 1);
}
