// The view store's compound edits, and how a host learns that another
// program changed the store. Each edit is one registry transaction: another
// program reading the store sees the list as it was before or as it is
// after, never a step in between, and a process killed in the middle leaves
// the list as it was. A store that lacks this interface offers only the
// single operations of IViewManager2.
#pragma once

#include "KRAdvancedViews/IViewManager.h"

// What MoveView's direction means: the Standard Views dialog's two buttons.
enum ViewMoveDirection : int32_t { MoveViewDown = 1, MoveViewUp = 2 };

struct IViewStoreEdits : IUnknown {
    // Exchanges the list positions of `name` and its neighbour below
    // (MoveViewDown) or above (MoveViewUp); each view keeps its record and
    // its default mark. Listeners hear, in order: batch begin; the three
    // renames through the reserved placeholder name (the view to the
    // placeholder, the neighbour to the view's name, the placeholder to the
    // neighbour's name); pre-edit and edited for the view, then for the
    // neighbour (each gets its own record back at its new index); batch end.
    // S_OK when moved; S_FALSE when there is no such view or no neighbour in
    // that direction (nothing changed, nothing announced); E_POINTER for a
    // null name; E_INVALIDARG for another direction. On a failure part-way
    // nothing of the move is stored: the store reads the registry again,
    // listeners hear batch end (so they rebuild) and the failing status is
    // returned.
    virtual HRESULT STDMETHODCALLTYPE MoveView(const char* name, int32_t direction) = 0;

    // Deletes the `count` views named and moves the views behind them up so
    // that the indices stay 1..n in their former order. Listeners hear batch
    // begin, pre-destroy and destroyed for each view deleted, and batch end;
    // the views that moved up are not announced one by one. S_OK when every
    // name was deleted; S_FALSE when some were not stored (the others are
    // deleted); E_POINTER for a null array or name; E_INVALIDARG for a
    // negative count. A failure rolls back as MoveView's does.
    virtual HRESULT STDMETHODCALLTYPE DestroyViews(const char* const* names, int32_t count) = 0;

    // Asks the registry whether another store, in this process or another,
    // changed the views since this store last looked. If so the store reads
    // them anew and listeners hear batch begin and batch end: S_OK. S_FALSE
    // when nothing changed. Cheap (one counter read) when nothing changed,
    // so a host may call it on a timer or whenever the hive file changes.
    virtual HRESULT STDMETHODCALLTYPE CheckForChanges() = 0;
};

ZUL_DECLARE_IID(IViewStoreEdits, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0111");

// The store as a whole, for undoing what a dialog changed.
struct IViewStoreEdits2 : IViewStoreEdits {
    // Makes the stored views exactly the `count` views named, each with its
    // record as given (its index, default mark and all), as one change of
    // the store: views not named are deleted, views whose record differs
    // are written anew, views already as given are left alone. Listeners
    // hear batch begin, the deletions and creations, and batch end.
    // S_OK; E_POINTER for a null array, name or record; E_INVALIDARG for a
    // negative count, an empty or repeated name, or two records with one
    // index; E_UNEXPECTED for more than the store holds. A failure rolls
    // back as MoveView's does.
    virtual HRESULT STDMETHODCALLTYPE ReplaceAllViews(const char* const* names,
                                                      const FullViewInfo* records,
                                                      int32_t count) = 0;
};

ZUL_DECLARE_IID(IViewStoreEdits2, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0112");
