#include <bit>
#include <cstring>

#include "ComTest.h"
#include "RecordingSink.h"
#include "TempHive.h"
#include "ViewInfo.h"
#include "ViewManager.h"
#include "zul/com/ComPtr.h"
#include "zul/registry/RegHelper.h"
#include "zul/registry/Transaction.h"

using krav::test::CRecordingSink;
using krav::test::CTestNavigator;
using zul::com::ComPtr;
using zul::test::make;

namespace {

// A started store and the object behind it (for its slot table).
struct Store {
    ComPtr<IViewManager2> api;
    CViewManager* impl = nullptr;
};

Store start() {
    Store s;
    IUnknown* unk = nullptr;
    EXPECT_EQ(zul::com::createInstance<CViewManager>(nullptr, IID_IUnknown,
                                                     reinterpret_cast<void**>(&unk)),
              S_OK);
    unk->QueryInterface(IID_IViewManager2, reinterpret_cast<void**>(s.api.GetAddressOf()));
    unk->Release();
    s.impl = static_cast<CViewManager*>(s.api.Get());
    return s;
}

// Writes a view key directly, as another program or an older version would.
void writeKey(const std::string& subkey, const char* name, int index, bool withIndex = true) {
    CRegHelper reg(("KRAdvancedViews2\\" + subkey).c_str(), RegPathUserSettings);
    if (name) {
        ASSERT_EQ(reg.SetString("View Name", name), 0);
    }
    if (withIndex) {
        ASSERT_EQ(reg.SetInt("Index", index), 0);
    }
    ASSERT_EQ(reg.SetDWORD("Camera Type", 1), 0);
}

std::vector<std::string> subkeysOf(const char* path) {
    std::vector<std::string> out;
    HKEY k = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, path, 0, KEY_READ, &k) != 0) return out;
    char buf[256];
    for (DWORD i = 0;; ++i) {
        DWORD cch = sizeof buf;
        if (RegEnumKeyExA(k, i, buf, &cch, nullptr, nullptr, nullptr, nullptr) != 0) break;
        out.emplace_back(buf, cch);
    }
    RegCloseKey(k);
    return out;
}

std::vector<std::string> named(std::initializer_list<const char*> names) {
    return {names.begin(), names.end()};
}

FullViewInfo record(int index = -1) {
    FullViewInfo r;
    r.iViewIndex = index;
    r.bHasFromAndAt = 0;
    return r;
}

} // namespace

class ViewStore : public zul::test::TempHiveTest {};

TEST_F(ViewStore, FirstStartSeedsTheEightStandardViewsBitForBit) {
    Store s = start();
    EXPECT_EQ(s.impl->startStatus(), S_FALSE);
    EXPECT_EQ(s.impl->slots(),
              named({"+X", "+Y", "+Z", "-X", "-Y", "-Z", "+Isometric", "-Isometric"}));

    struct Expect {
        const char* name;
        uint32_t up[3], view[3];
    };
    const Expect expected[] = {
        {"+X", {0, 0xA9E8DCF6, 0x3F800000}, {0x43822852, 0, 0}},
        {"+Y", {0, 0xA9E8DCF6, 0x3F800000}, {0, 0x43822852, 0}},
        {"+Z", {0xAA68DCAC, 0x3F800000, 0xAA68DCAC}, {0, 0, 0x43822852}},
        {"-X", {0, 0xA9E8DCF6, 0x3F800000}, {0xC3822852, 0, 0}},
        {"-Y", {0xAA68DCAC, 0x29E8DCF6, 0x3F800000}, {0, 0xC3822852, 0}},
        {"-Z", {0, 0x3F800000, 0}, {0, 0, 0xC3822852}},
        {"+Isometric", {0xBED108C4, 0x3ED108C4, 0x3F510471}, {0xC31646A8, 0x43164D0E, 0xC3164D0E}},
        {"-Isometric", {0x3ED108C4, 0x3ED108C4, 0xBF510471}, {0xC31646A8, 0xC3164D0E, 0xC3164D0E}},
    };
    const char* axes[] = {"X", "Y", "Z"};
    for (int i = 0; i < 8; ++i) {
        SCOPED_TRACE(expected[i].name);
        // Read back through the registry, not through the store.
        char key[64];
        std::snprintf(key, sizeof key, "KRAdvancedViews2\\VIEW_%04d", i + 1);
        CRegHelper reg(key, RegPathUserSettings);
        std::string name;
        ASSERT_EQ(reg.GetString("View Name", name), 0);
        EXPECT_EQ(name, expected[i].name);
        for (int c = 0; c < 3; ++c) {
            float up = 1, view = 1;
            ASSERT_EQ(reg.GetFloat((std::string("UpVector ") + axes[c]).c_str(), up), 0);
            ASSERT_EQ(reg.GetFloat((std::string("ViewVector ") + axes[c]).c_str(), view), 0);
            EXPECT_EQ(std::bit_cast<uint32_t>(up), expected[i].up[c]) << c;
            EXPECT_EQ(std::bit_cast<uint32_t>(view), expected[i].view[c]) << c;
        }
        int index = 0, bits = 0;
        DWORD type = 9;
        BOOL has = 9;
        float fov = 0, from = 0;
        EXPECT_EQ(reg.GetInt("Index", index), 0);
        EXPECT_EQ(index, i + 1);
        EXPECT_EQ(reg.GetDWORD("Camera Type", type), 0);
        EXPECT_EQ(type, 0u);
        EXPECT_EQ(reg.GetBOOL("Has At And From", has), 0);
        EXPECT_EQ(has, 0);
        EXPECT_EQ(reg.GetFloat("FromPoint X", from), ERROR_FILE_NOT_FOUND)
            << "no points without the flag";
        EXPECT_EQ(reg.GetFloat("FOV", fov), 0);
        EXPECT_EQ(fov, 28.0f);
        EXPECT_EQ(reg.GetInt("Change Bits", bits), 0);
        EXPECT_EQ(bits, 0x212);
    }
    FullViewInfo def;
    EXPECT_EQ(s.api->GetDefaultView(&def), E_FAIL) << "no view is the default";

    // A later start with views present seeds nothing, even with the standard ones gone.
    for (const char* n : {"+X", "+Y", "+Z", "-X", "-Y", "-Z", "+Isometric"})
        ASSERT_EQ(s.api->DestroyViewExt(n), S_OK);
    s = Store{};
    Store again = start();
    EXPECT_EQ(again.impl->startStatus(), S_OK);
    EXPECT_EQ(again.impl->slots(), named({"", "", "", "", "", "", "", "-Isometric"}));
}

TEST_F(ViewStore, OperationsStatusesAndNotificationOrder) {
    Store s = start();
    ComPtr<CRecordingSink> first = make<CRecordingSink, IViewManagerSink>();
    ComPtr<CRecordingSink> quitter = make<CRecordingSink, IViewManagerSink>();
    ComPtr<CRecordingSink> last = make<CRecordingSink, IViewManagerSink>();
    ASSERT_EQ(s.api->RegisterInterest(first.Get()), S_OK);
    ASSERT_EQ(s.api->RegisterInterest(quitter.Get()), S_OK);
    ASSERT_EQ(s.api->RegisterInterest(last.Get()), S_OK);
    EXPECT_EQ(s.api->RegisterInterest(first.Get()), S_FALSE);
    EXPECT_EQ(s.api->RegisterInterest(nullptr), E_POINTER);
    // Unregisters itself from inside its first notification.
    IViewManager2* api = s.api.Get();
    CRecordingSink* q = quitter.Get();
    quitter->onEvent = [api, q](const std::string&) { api->UnregisterInterest(q); };

    EXPECT_EQ(s.api->CreateViewInfo("A", record()), S_OK);
    EXPECT_EQ(s.api->CreateViewInfo("A", record()), S_FALSE);
    EXPECT_EQ(s.api->CreateViewInfo(nullptr, record()), E_POINTER);
    EXPECT_EQ(s.api->CreateViewInfo("", record()), E_INVALIDARG);
    FullViewInfo badType = record();
    badType.cameraType = CameraTypeNum;
    EXPECT_EQ(s.api->CreateViewInfo("Bad", badType), E_INVALIDARG);
    EXPECT_EQ(s.api->EditViewInfo("A", badType), E_INVALIDARG);

    FullViewInfo a;
    ASSERT_EQ(s.api->GetViewInfo("A", &a), S_OK);
    EXPECT_EQ(a.iViewIndex, 9);
    EXPECT_EQ(s.api->GetViewInfo("Missing", &a), S_FALSE);
    EXPECT_EQ(s.api->GetViewInfo(nullptr, &a), E_POINTER);
    EXPECT_EQ(s.api->GetViewInfo("A", nullptr), E_POINTER);
    EXPECT_EQ(s.api->GetViewInfo("", &a), E_INVALIDARG);

    // Edit without an index keeps the index and the slot.
    FullViewInfo changed = record();
    changed.viewAngle = 50;
    EXPECT_EQ(s.api->EditViewInfo("A", changed), S_OK);
    ASSERT_EQ(s.api->GetViewInfo("A", &a), S_OK);
    EXPECT_EQ(a.iViewIndex, 9);
    EXPECT_EQ(a.viewAngle, 50.0f);
    EXPECT_EQ(s.impl->slots().at(8), "A");

    // Rename keeps the index; one rename event, no create or destroy.
    EXPECT_EQ(s.api->RenameViewExt("A", "B"), S_OK);
    ASSERT_EQ(s.api->GetViewInfo("B", &a), S_OK);
    EXPECT_EQ(a.iViewIndex, 9);
    EXPECT_EQ(a.viewAngle, 50.0f);
    EXPECT_EQ(s.api->GetViewInfo("A", &a), S_FALSE);
    EXPECT_EQ(s.api->RenameViewExt("A", "C"), S_FALSE);
    EXPECT_EQ(s.api->RenameViewExt(nullptr, "C"), E_POINTER);

    EXPECT_EQ(s.api->DestroyViewExt("B"), S_OK);
    EXPECT_EQ(s.api->DestroyViewExt("B"), S_FALSE) << "not found: both events still go out";
    EXPECT_EQ(s.api->BeginBatchViewEdit(), S_OK);
    EXPECT_EQ(s.api->EndBatchViewEdit(), S_OK);

    const std::vector<std::string> expected = {
        "Created(A)",   "PreEdit(A)",    "Edited(A)",    "Renamed(A,B)", "PreDestroy(B)",
        "Destroyed(B)", "PreDestroy(B)", "Destroyed(B)", "BatchBegin()", "BatchEnd()"};
    EXPECT_EQ(first->events, expected);
    EXPECT_EQ(last->events, expected) << "the quitter did not disturb delivery to the one after it";
    EXPECT_EQ(quitter->events, std::vector<std::string>{"Created(A)"});
    EXPECT_EQ(s.api->UnregisterInterest(quitter.Get()), S_FALSE);
    EXPECT_EQ(s.api->UnregisterInterest(first.Get()), S_OK);
    EXPECT_EQ(s.api->UnregisterInterest(last.Get()), S_OK);

    // The vector-based forms go through the record-based ones.
    float up[3] = {0, 0, 1}, view[3] = {1, 0, 0};
    EXPECT_EQ(s.api->CreateView("V", up, view, Orthographic, 0), S_OK);
    float up2[3], view2[3];
    CameraTypeEnum type;
    int num = 0;
    EXPECT_EQ(s.api->GetView("V", up2, view2, &type, &num), S_OK);
    EXPECT_EQ(type, Orthographic);
    EXPECT_EQ(up2[2], 1.0f);
    EXPECT_EQ(num, 9) << "index 0 takes the first free slot";
    EXPECT_EQ(s.api->GetView("V", up2, view2, nullptr, &num), E_POINTER);
    EXPECT_EQ(s.api->EditView("V", nullptr, view, Perspective, 0), E_INVALIDARG);
    ASSERT_EQ(s.api->GetViewInfo("V", &a), S_OK);
    EXPECT_EQ(a.bHasFromAndAt, 0);
}

TEST_F(ViewStore, IndexAssignmentFollowsTheSlotTable) {
    writeKey("VIEW_0001", "a", 1);
    writeKey("VIEW_0002", "b", 2);
    writeKey("VIEW_0003", "c", 3);
    Store s = start();
    int i = 5;
    s.impl->_ensureUniqueViewIndex(i);
    EXPECT_EQ(i, 4);
    EXPECT_EQ(s.impl->slots().size(), 4u) << "a full table grows by one";
    ASSERT_EQ(s.api->DestroyViewExt("b"), S_OK); // (a, -, c, -)
    i = 2;
    s.impl->_ensureUniqueViewIndex(i);
    EXPECT_EQ(i, 2);
    i = 0;
    s.impl->_ensureUniqueViewIndex(i);
    EXPECT_EQ(i, 2);
    i = -7;
    s.impl->_ensureUniqueViewIndex(i);
    EXPECT_EQ(i, 2);
    ASSERT_EQ(s.api->DestroyViewExt("c"), S_OK); // (a, -, -, -)
    i = 4;                                       // the last slot is never taken by request
    s.impl->_ensureUniqueViewIndex(i);
    EXPECT_EQ(i, 2);
}

TEST_F(ViewStore, StartUpRepairsIndicesAndSkipsWhatIsNotAView) {
    writeKey("VIEW_0003", "first", 3);
    writeKey("VIEW_0003_dup", "second", 3);
    writeKey("Zero", "zero", 0);
    writeKey("Negative", "negative", -4);
    writeKey("NoIndex", "noindex", 0, false);
    writeKey("NoName", nullptr, 5);
    writeKey("Huge", "huge", 5000);
    Store s = start();
    EXPECT_EQ(s.impl->startStatus(), S_OK);
    // Enumeration order (upper case): HUGE, NEGATIVE, NOINDEX, NONAME, VIEW_0003, VIEW_0003_DUP,
    // ZERO.
    EXPECT_EQ(s.impl->slots(), named({"huge", "negative", "first", "second", "zero", "", ""}))
        << "the table is sized to the number of subkeys";
    FullViewInfo r;
    ASSERT_EQ(s.api->GetViewInfo("second", &r), S_OK);
    EXPECT_EQ(r.iViewIndex, 4) << "the moved view's Index is written back";
    ASSERT_EQ(s.api->GetViewInfo("huge", &r), S_OK);
    EXPECT_EQ(r.iViewIndex, 1);
    EXPECT_EQ(s.api->GetViewInfo("noindex", &r), S_OK) << "not loaded, but not deleted either";
    EXPECT_EQ(subkeysOf("Software\\ZUL\\KRAdvancedViews2").size(), 7u);
}

TEST_F(ViewStore, ViewsUnderTheOlderKeyMoveExactlyOnce) {
    writeKey("VIEW_0001", "Current", 1);
    auto older = [](const std::string& name, DWORD index, float upZ, bool points) {
        std::string key;
        krav::s_encode(name, key);
        CRegHelper reg(("KRAdvancedViews\\" + key).c_str(), RegPathUserSettings);
        const float zero = 0, one = 1, fov = 33;
        for (const char* v : {"UpVector X", "UpVector Y", "ViewVector X", "ViewVector Y"})
            reg.SetBytes(v, &zero, 4);
        reg.SetBytes("UpVector Z", &upZ, 4);
        reg.SetBytes("ViewVector Z", &one, 4);
        reg.SetDWORD("Index", index);
        reg.SetDWORD("Camera Type", 0);
        const float p = points ? 2.0f : 0.0f;
        for (const char* v :
             {"FromPoint X", "FromPoint Y", "FromPoint Z", "AtPoint X", "AtPoint Y", "AtPoint Z"})
            reg.SetBytes(v, &p, 4);
        reg.SetBytes("FOV", &fov, 4);
        const int bits = 0x202;
        reg.SetBytes("Change Bits", &bits, 4);
    };
    older("Old\\One", 1, 1.0f, true);
    older("Current", 5, 0.5f, false); // replaces the current view of that name
    {
        Store s = start();
        EXPECT_EQ(s.impl->slots(), named({"Current", "Old\\One"}));
        FullViewInfo r;
        ASSERT_EQ(s.api->GetViewInfo("Old\\One", &r), S_OK);
        EXPECT_EQ(r.iViewIndex, 2);
        EXPECT_EQ(r.bHasFromAndAt, 1);
        EXPECT_EQ(r.pFromVector[1], 2.0f);
        EXPECT_EQ(r.viewAngle, 33.0f);
        EXPECT_EQ(r.iChangeBits, 0x202);
        EXPECT_EQ(r.cameraType, Orthographic);
        ASSERT_EQ(s.api->GetViewInfo("Current", &r), S_OK);
        EXPECT_EQ(r.pUpVector[2], 0.5f);
        EXPECT_EQ(r.bHasFromAndAt, 0);
        EXPECT_TRUE(subkeysOf("Software\\ZUL\\KRAdvancedViews").empty());
    }
    Store again = start();
    EXPECT_EQ(again.impl->slots(), named({"Current", "Old\\One"}));
    EXPECT_EQ(subkeysOf("Software\\ZUL\\KRAdvancedViews2").size(), 2u);
}

TEST_F(ViewStore, DefaultViewAndApplyingViews) {
    Store s = start();
    ComPtr<CTestNavigator> nav = make<CTestNavigator, IViewNavigator>();
    EXPECT_EQ(s.api->ApplyDefaultView(), E_UNEXPECTED);
    EXPECT_EQ(s.api->ShowViewExt("+X"), E_FAIL);
    ASSERT_EQ(s.api->BindViewNavigator(nav.Get()), S_OK);
    EXPECT_EQ(s.api->ApplyDefaultView(), S_FALSE);
    EXPECT_TRUE(nav->applied.empty());
    EXPECT_EQ(s.api->ShowViewExt("Nope"), S_FALSE);
    EXPECT_EQ(s.api->ShowViewExt(nullptr), E_POINTER);
    EXPECT_TRUE(nav->applied.empty());
    ASSERT_EQ(s.api->ShowView("+Y"), S_OK);
    ASSERT_EQ(nav->applied.size(), 1u);
    EXPECT_EQ(nav->applied[0].iViewIndex, 2);

    ASSERT_EQ(s.api->SetDefaultView("+Z"), S_OK);
    ASSERT_EQ(s.api->SetDefaultView("-Y"), S_OK);
    int marked = 0;
    for (const auto& name : s.impl->slots()) {
        FullViewInfo r;
        ASSERT_EQ(s.api->GetViewInfo(name.c_str(), &r), S_OK);
        if (r.iChangeBits & ViewChangeDefaultView) {
            ++marked;
            EXPECT_EQ(name, "-Y");
        }
    }
    EXPECT_EQ(marked, 1);
    EXPECT_EQ(s.impl->slots()[4], "-Y") << "marking keeps the view in its place";
    ASSERT_EQ(s.api->ApplyDefaultView(), S_OK);
    EXPECT_EQ(nav->applied.back().iViewIndex, 5);
    nav->result = E_ACCESSDENIED;
    EXPECT_EQ(s.api->ApplyDefaultView(), E_ACCESSDENIED) << "the navigator's status is passed up";

    // A new store finds the mark by scanning; deleting the default clears it.
    {
        Store other = start();
        FullViewInfo r;
        ASSERT_EQ(other.api->GetDefaultView(&r), S_OK);
        EXPECT_EQ(r.iViewIndex, 5);
    }
    ASSERT_EQ(s.api->DestroyViewExt("-Y"), S_OK);
    FullViewInfo r;
    EXPECT_EQ(s.api->GetDefaultView(&r), E_FAIL);
    EXPECT_EQ(s.api->GetDefaultView(nullptr), E_POINTER);
    ASSERT_EQ(s.api->SetDefaultView("+X"), S_OK);
    ASSERT_EQ(s.api->SetDefaultView(nullptr), S_OK);
    EXPECT_EQ(s.api->GetDefaultView(&r), E_FAIL) << "a null name just removes the mark";
    ASSERT_EQ(s.api->BindViewNavigator(nullptr), S_OK);
    EXPECT_EQ(s.api->ApplyDefaultView(), E_UNEXPECTED);
}

TEST_F(ViewStore, NeverMoreThan128Views) {
    Store s = start();
    {
        zul::registry::Transaction tx; // one commit for the set-up
        for (int i = 9; i <= kMaxViews; ++i)
            ASSERT_EQ(s.api->CreateViewInfo(("V" + std::to_string(i)).c_str(), record()), S_OK);
        ASSERT_EQ(tx.commit(), ERROR_SUCCESS);
    }
    ComPtr<CRecordingSink> sink = make<CRecordingSink, IViewManagerSink>();
    s.api->RegisterInterest(sink.Get());
    EXPECT_EQ(s.api->CreateViewInfo("One too many", record()), E_UNEXPECTED);
    EXPECT_EQ(s.api->EditViewInfo("Also too many", record()), E_UNEXPECTED);
    FullViewInfo r;
    EXPECT_EQ(s.api->GetViewInfo("One too many", &r), S_FALSE);
    EXPECT_EQ(s.api->GetViewInfo("Also too many", &r), S_FALSE);
    EXPECT_EQ(subkeysOf("Software\\ZUL\\KRAdvancedViews2").size(), 128u);
    EXPECT_EQ(sink->events, std::vector<std::string>{"PreEdit(Also too many)"});
    // Editing and renaming at the limit still work.
    EXPECT_EQ(s.api->EditViewInfo("V100", record()), S_OK);
    EXPECT_EQ(s.api->RenameViewExt("V100", "W100"), S_OK);
    s.api->UnregisterInterest(sink.Get());
    s = Store{};
    Store again = start();
    EXPECT_EQ(again.impl->startStatus(), S_OK);
    EXPECT_EQ(again.impl->slots().size(), 128u);
}

TEST_F(ViewStore, AFailedWriteLeavesTheViewAsItWas) {
    Store s = start();
    FullViewInfo before;
    ASSERT_EQ(s.api->GetViewInfo("+X", &before), S_OK);
    // The hive turns into something that is not a hive behind the store's back.
    const std::string bytes = readFile(userHive_);
    s = Store{};
    writeFile(userHive_, "not a hive any more");
    Store broken = start();
    EXPECT_EQ(broken.impl->startStatus(), E_FAIL);
    EXPECT_EQ(broken.api->CreateViewInfo("N", record()), E_FAIL);
    EXPECT_EQ(readFile(userHive_), "not a hive any more");
    (void)bytes;
}

TEST_F(ViewStore, EditsAndRenamesLeaveExactlyTheNewRecord) {
    Store s = start();
    FullViewInfo withPoints = record(3); // slot taken by +Z: the view gets the next free index, 9
    withPoints.bHasFromAndAt = 1;
    withPoints.pFromVector[0] = 7;
    ASSERT_EQ(s.api->CreateViewInfo("P", withPoints), S_OK);
    const size_t keys = subkeysOf("Software\\ZUL\\KRAdvancedViews2").size();
    ASSERT_EQ(s.api->EditViewInfo("P", record()), S_OK);
    CRegHelper reg("KRAdvancedViews2\\VIEW_0009", RegPathUserSettings);
    float x = 0;
    std::string name;
    ASSERT_EQ(reg.GetString("View Name", name), 0);
    EXPECT_EQ(name, "P");
    EXPECT_EQ(reg.GetFloat("FromPoint X", x), ERROR_FILE_NOT_FOUND)
        << "no point survives an edit that drops them";

    ASSERT_EQ(s.api->RenameViewExt("P", "Q"), S_OK);
    EXPECT_EQ(subkeysOf("Software\\ZUL\\KRAdvancedViews2").size(), keys);
    ASSERT_EQ(reg.GetString("View Name", name), 0);
    EXPECT_EQ(name, "Q");

    // An edit that moves the view to another index leaves no key behind.
    ASSERT_EQ(s.api->DestroyViewExt("+Y"), S_OK);
    ASSERT_EQ(s.api->EditViewInfo("Q", record(2)), S_OK);
    EXPECT_EQ(s.impl->slots().at(1), "Q");
    EXPECT_EQ(s.impl->slots().at(8), "");
    EXPECT_EQ(subkeysOf("Software\\ZUL\\KRAdvancedViews2").size(), keys - 1);
    Store again = start();
    EXPECT_EQ(again.impl->slots().at(1), "Q");
}

TEST_F(ViewStore, AnEditWithANullPointIsRefusedAndChangesNothing) {
    Store s = start();
    auto sink = make<CRecordingSink, IViewManagerSink>();
    ASSERT_EQ(s.api->RegisterInterest(sink.Get()), S_OK);
    FullViewInfo before;
    ASSERT_EQ(s.api->GetViewInfo("+X", &before), S_OK);
    float up[3] = {0, 0, 1}, view[3] = {0, 1, 0}, point[3] = {1, 2, 3};
    EXPECT_EQ(s.api->EditViewExt("+X", up, view, Perspective, 1, nullptr, point, 40, 0x22),
              E_INVALIDARG);
    EXPECT_EQ(s.api->EditViewExt("+X", up, view, Perspective, 1, point, nullptr, 40, 0x22),
              E_INVALIDARG);
    FullViewInfo after;
    ASSERT_EQ(s.api->GetViewInfo("+X", &after), S_OK);
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0) << "nothing written";
    EXPECT_TRUE(sink->events.empty()) << "nothing announced";
    s.api->UnregisterInterest(sink.Get());
}
