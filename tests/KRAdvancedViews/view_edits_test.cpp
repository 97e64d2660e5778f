// What the Standard Views dialog does to records and the store, without a
// QApplication: the record its choices give, the pose checks, the multiple
// delete and the move by swap.
#include <algorithm>
#include <cstring>
#include <functional>

#include "ComTest.h"
#include "KRAdvancedViews/StoreLayout.h"
#include "RecordingSink.h"
#include "TempHive.h"
#include "ViewManager.h"
#include "dialogs/ViewEdits.h"
#include "dialogs/ViewUndo.h"
#include "resources/StringTable.h"

using krav::dialogs::AssemblePose;
using krav::dialogs::RecordChoices;
using zul::com::ComPtr;
using zul::test::make;

TEST(ViewEdits, ChoicesDecideBitsTypeAndAngleAndDropTheMark) {
    FullViewInfo r;
    r.iChangeBits = ViewChangeDefaultView | ViewChangeFromPoint | 0x40000; // an unknown bit stays
    r.viewAngle = 28;
    RecordChoices c;
    c.angles = true, c.perspective = true, c.fieldOfView = true, c.angle = 40;
    krav::dialogs::ApplyChoices(r, c);
    EXPECT_EQ(r.iChangeBits, 0x40000 | ViewChangeCameraType | ViewChangeViewVector |
                                 ViewChangeCarried | ViewChangeViewAngle);
    EXPECT_EQ(r.cameraType, Perspective);
    EXPECT_EQ(r.viewAngle, 40.0f);
    c = RecordChoices{};
    c.lookFrom = true, c.angle = 70; // orthographic: the angle is not taken
    krav::dialogs::ApplyChoices(r, c);
    EXPECT_EQ(r.iChangeBits,
              0x40000 | ViewChangeCameraType | ViewChangeAtPoint | ViewChangeFromPoint);
    EXPECT_EQ(r.cameraType, Orthographic);
    EXPECT_EQ(r.viewAngle, 40.0f);
    krav::dialogs::KeepDefaultMark(r, true);
    EXPECT_TRUE(r.iChangeBits & ViewChangeDefaultView);
    krav::dialogs::KeepDefaultMark(r, false);
    EXPECT_FALSE(r.iChangeBits & ViewChangeDefaultView);
}

TEST(ViewEdits, APoseIsCheckedBeforeItIsTaken) {
    RecordChoices lookAt, lookFrom;
    lookFrom.lookFrom = true;
    const double none[3] = {0, 0, 0}, at[3] = {1, 2, 3}, up[3] = {0, 0, 1}, zero[3] = {0, 0, 0};
    const double eye[3] = {1, 12, 3}, same[3] = {1, 2, 3}, above[3] = {1, 2, 8};
    const float current[3] = {0, 1, 0}, alongUp[3] = {0, 0, -4}, noView[3] = {0, 0, 0};
    FullViewInfo r, before;
    EXPECT_EQ(AssemblePose(r, lookAt, none, at, zero, eye, current),
              unsigned(krav::IDS_ZERO_VECTOR));
    EXPECT_EQ(AssemblePose(r, lookFrom, none, at, up, same, current),
              unsigned(krav::IDS_IDENTICAL_POINTS));
    EXPECT_EQ(AssemblePose(r, lookAt, none, at, up, eye, noView), unsigned(krav::IDS_ZERO_VECTOR));
    EXPECT_EQ(AssemblePose(r, lookAt, none, at, up, eye, alongUp),
              unsigned(krav::IDS_PARALLEL_VECTORS));
    EXPECT_EQ(AssemblePose(r, lookFrom, none, at, up, above, current),
              unsigned(krav::IDS_PARALLEL_VECTORS));
    EXPECT_EQ(std::memcmp(&r, &before, sizeof r), 0) << "a refused pose leaves the record";

    ASSERT_EQ(AssemblePose(r, lookFrom, none, at, up, eye, current), 0u);
    EXPECT_EQ(r.pViewVector[1], -10.0f) << "from the eye to the look-at point";
    EXPECT_EQ(r.pFromVector[1], 12.0f);
    EXPECT_EQ(r.pAtVector[1], 2.0f);
    EXPECT_EQ(r.bHasFromAndAt, 1);
    EXPECT_EQ(r.iChangeBits & (ViewChangeAtPoint | ViewChangeFromPoint),
              ViewChangeAtPoint | ViewChangeFromPoint);
}

class ViewEditsOnAStore : public zul::test::TempHiveTest {};

TEST_F(ViewEditsOnAStore, ADeleteClosesTheGapsAndAMoveKeepsRecordsAndMark) {
    auto store = make<CViewManager, IViewManager2>();
    auto sink = make<krav::test::CRecordingSink, IViewManagerSink>();
    ASSERT_EQ(store->RegisterInterest(sink.Get()), S_OK);
    krav::dialogs::DeleteClosingGaps(store.Get(), {"+X", "+Z", "-Y"});
    const auto left = krav::ListStoredViews(store.Get());
    ASSERT_EQ(left.size(), 5u);
    for (size_t i = 0; i < left.size(); ++i)
        EXPECT_EQ(left[i].info.iViewIndex, int(i + 1)) << left[i].name;
    EXPECT_EQ(left[0].name, "+Y");
    EXPECT_EQ(sink->events.front(), "BatchBegin()");
    EXPECT_EQ(sink->events.back(), "BatchEnd()") << "one batch";

    ASSERT_EQ(store->SetDefaultView("+Y"), S_OK);
    FullViewInfo y, x;
    ASSERT_EQ(store->GetViewInfo("+Y", &y), S_OK);
    ASSERT_EQ(store->GetViewInfo("-X", &x), S_OK);
    ASSERT_EQ(x.iViewIndex, y.iViewIndex + 1) << "+Y, -X: first and second";
    ASSERT_TRUE(krav::dialogs::MoveView(store.Get(), "+Y", MoveViewDown));
    ASSERT_TRUE(krav::dialogs::MoveView(store.Get(), "-Isometric", MoveViewUp));
    FullViewInfo y2, x2;
    ASSERT_EQ(store->GetViewInfo("+Y", &y2), S_OK);
    ASSERT_EQ(store->GetViewInfo("-X", &x2), S_OK);
    EXPECT_EQ(y2.iViewIndex, 2);
    EXPECT_EQ(x2.iViewIndex, 1);
    std::vector<std::string> order;
    for (const auto& v : krav::ListStoredViews(store.Get()))
        order.push_back(v.name);
    EXPECT_EQ(order, (std::vector<std::string>{"-X", "+Y", "-Z", "-Isometric", "+Isometric"}));
    EXPECT_EQ(y2.pViewVector[1], y.pViewVector[1]) << "each name keeps its own record";
    EXPECT_EQ(x2.pViewVector[0], x.pViewVector[0]);
    EXPECT_TRUE(y2.iChangeBits & ViewChangeDefaultView) << "and its mark";
    EXPECT_FALSE(x2.iChangeBits & ViewChangeDefaultView);
    EXPECT_FALSE(krav::dialogs::MoveView(store.Get(), "Absent", MoveViewDown));
    EXPECT_FALSE(krav::dialogs::MoveView(store.Get(), "-X", MoveViewUp)) << "the first row";
    store->UnregisterInterest(sink.Get());
}

// A move that cannot finish stores nothing of itself: here the reserved
// name is taken by a stored view, so the swap would overwrite it.
TEST_F(ViewEditsOnAStore, AMoveThatFailsLeavesTheStoreAsItWas) {
    auto store = make<CViewManager, IViewManager2>();
    zul::com::ComPtr<IViewStoreEdits> edits;
    ASSERT_EQ(store.As(edits), S_OK);
    FullViewInfo parked;
    parked.viewAngle = 11;
    ASSERT_EQ(store->CreateViewInfo(kPlaceholderViewName, parked), S_OK);
    const auto before = krav::ListStoredViews(store.Get());
    auto sink = make<krav::test::CRecordingSink, IViewManagerSink>();
    ASSERT_EQ(store->RegisterInterest(sink.Get()), S_OK);
    EXPECT_TRUE(FAILED(edits->MoveView("+X", MoveViewDown)));
    EXPECT_EQ(sink->events.back(), "BatchEnd()") << "listeners rebuild";
    const auto after = krav::ListStoredViews(store.Get());
    ASSERT_EQ(after.size(), before.size());
    for (size_t i = 0; i < after.size(); ++i) {
        EXPECT_EQ(after[i].name, before[i].name);
        EXPECT_EQ(after[i].info.iViewIndex, before[i].info.iViewIndex);
    }
    EXPECT_EQ(edits->MoveView("+X", 3), E_INVALIDARG);
    EXPECT_EQ(edits->MoveView(nullptr, MoveViewUp), E_POINTER);
    EXPECT_EQ(edits->DestroyViews(nullptr, 1), E_POINTER);
    const char* names[] = {"+Y", "Absent"};
    EXPECT_EQ(edits->DestroyViews(names, 2), S_FALSE) << "one was not there";
    FullViewInfo gone;
    EXPECT_EQ(store->GetViewInfo("+Y", &gone), S_FALSE);
    store->UnregisterInterest(sink.Get());
}

// Each change the dialog's history keeps comes back whole on undo and goes
// again on redo: a move (renames and edits, one step), a delete of two
// views, a default mark, a load that replaced views and added two. A
// change by another store in between is found, and clears the history
// rather than being thrown away.
TEST_F(ViewEditsOnAStore, UndoRestoresEachChangeWholeAndRedoRepeatsIt) {
    using krav::dialogs::TakeSnapshot;
    using krav::dialogs::ViewUndoStack;
    auto store = make<CViewManager, IViewManager2>();
    std::string file = (dir_ / "standard.qjv").string();
    ASSERT_EQ(store->SaveViews(file.data(), TextFile), S_OK);
    ViewUndoStack undo;
    std::vector<krav::dialogs::ViewsSnapshot> states = {TakeSnapshot(store.Get())};
    auto change = [&](const char* what, const std::function<void()>& f) {
        f();
        states.push_back(TakeSnapshot(store.Get()));
        undo.Record(what, states[states.size() - 2], states.back());
    };
    change("move", [&] { krav::dialogs::MoveView(store.Get(), "+X", MoveViewDown); });
    change("delete", [&] { krav::dialogs::DeleteClosingGaps(store.Get(), {"+Y", "-Z"}); });
    change("default", [&] { store->SetDefaultView("-X"); });
    change("load", [&] { store->LoadViews(file.data(), TextFile); });
    ASSERT_EQ(states[4].size(), 8u);
    undo.Record("nothing", states[4], states[4]);
    EXPECT_EQ(undo.UndoName(), "load") << "a change that changed nothing is not a step";

    for (size_t k = states.size() - 1; k > 0; --k) {
        ASSERT_EQ(undo.Undo(store.Get()), ViewUndoStack::Outcome::Done) << k;
        EXPECT_TRUE(krav::dialogs::SameSnapshot(TakeSnapshot(store.Get()), states[k - 1])) << k;
    }
    EXPECT_EQ(undo.Undo(store.Get()), ViewUndoStack::Outcome::Nothing);
    for (size_t k = 1; k < states.size(); ++k) {
        ASSERT_EQ(undo.Redo(store.Get()), ViewUndoStack::Outcome::Done) << k;
        EXPECT_TRUE(krav::dialogs::SameSnapshot(TakeSnapshot(store.Get()), states[k])) << k;
    }
    ASSERT_TRUE(std::any_of(states[3].begin(), states[3].end(), [](const krav::StoredView& v) {
        return v.name == "-X" && (v.info.iChangeBits & ViewChangeDefaultView);
    })) << "marks are part of what is compared";

    ASSERT_EQ(undo.Undo(store.Get()), ViewUndoStack::Outcome::Done);
    auto other = make<CViewManager, IViewManager2>();
    ASSERT_EQ(other->RenameView("-X", "Side"), S_OK);
    const auto theirs = TakeSnapshot(other.Get());
    zul::com::ComPtr<IViewStoreEdits> edits;
    ASSERT_EQ(store.As(edits), S_OK);
    edits->CheckForChanges();
    EXPECT_EQ(undo.Redo(store.Get()), ViewUndoStack::Outcome::ChangedElsewhere);
    EXPECT_FALSE(undo.CanUndo() || undo.CanRedo());
    EXPECT_TRUE(krav::dialogs::SameSnapshot(TakeSnapshot(store.Get()), theirs))
        << "their change stays";

    zul::com::ComPtr<IViewStoreEdits2> whole;
    ASSERT_EQ(store.As(whole), S_OK);
    const char* twice[] = {"A", "A"};
    FullViewInfo records[2];
    records[1].iViewIndex = 2;
    EXPECT_EQ(whole->ReplaceAllViews(twice, records, 2), E_INVALIDARG);
    const char* oneIndex[] = {"A", "B"};
    records[1].iViewIndex = records[0].iViewIndex;
    EXPECT_EQ(whole->ReplaceAllViews(oneIndex, records, 2), E_INVALIDARG);
    EXPECT_TRUE(krav::dialogs::SameSnapshot(TakeSnapshot(store.Get()), theirs))
        << "refused, nothing changed";
}
