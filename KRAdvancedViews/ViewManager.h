// CViewManager: the user's named views. The registry is the store: besides a
// table of names by index (the slot table) nothing of a view is kept in memory.
#pragma once

#include "zul/com/ObjectWithSite.h"

#include <functional>
#include <iosfwd>
#include <string>
#include <unordered_map>
#include <vector>

#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/IViewStoreEdits.h"
#include "KRAdvancedViews/StoreLayout.h"
#include "KRAdvancedViews/formats/QjvUnicode.h"
#include "KRAdvancedViews/host/IHostUIService.h"
#include "Site.h"
#include "zul/com/ComPtr.h"
#include "zul/com/Object.h"
#include "zul/registry/Text.h"
#include "zul/registry/Transaction.h"

// Reads a vector (three comma-ended fields) or, with `threeValues` false, one
// number from the next line of `stream` into `out`. E_FAIL for a null stream.
HRESULT _getVecFromLine(float out[3], bool threeValues, std::istream* stream);

// Whether the store told the user (through its site's IHostUIService) why
// its last load or save failed or what the load left out. The Standard Views
// dialog asks it before showing its own general message; a store without it
// tells nothing.
struct IViewFileReport : IUnknown {
    virtual bool STDMETHODCALLTYPE ToldUserOfLastFailure() = 0;
};
ZUL_DECLARE_IID(IViewFileReport, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0190");

// Makes a view name given to the store the registry's text for the rest of
// the call (UTF-8; other bytes read as Windows-1252, as the registry stores
// them), keeping the text in `text`: a name given in Windows-1252 finds the
// view stored under it.
inline void AsStoreText(const char*& name, std::string& text) {
    if (!name) return;
    text = zul::registry::utf8Text(name);
    name = text.c_str();
}

class CViewManager : public zul::com::ObjectRoot,
                     public IViewManager2,
                     public IViewManagerSink,
                     public IViewStoreEdits2,
                     public IObjectWithSite,
                     public IViewFileReport {
public:
    ZUL_BEGIN_INTERFACE_MAP(CViewManager)
    ZUL_INTERFACE_ENTRY(IViewManager2)
    ZUL_INTERFACE_ENTRY(IViewFileReport)
    ZUL_INTERFACE_ENTRY(IViewStoreEdits2)
    ZUL_INTERFACE_ENTRY2(IViewStoreEdits, IViewStoreEdits2)
    ZUL_INTERFACE_ENTRY2(IViewManager, IViewManager2)
    ZUL_INTERFACE_ENTRY(IViewManagerSink)
    ZUL_INTERFACE_ENTRY(IObjectWithSite)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    CViewManager();
    ~CViewManager() override;

    // Starts the store: merges imported views, loads the registry, seeds the
    // standard views into an empty store, moves views from the older key.
    // A start that cannot read the registry leaves an empty store that fails
    // its operations with the registry's status; it does not fail creation.
    HRESULT finalConstruct() override;

    // IViewFileReport
    bool STDMETHODCALLTYPE ToldUserOfLastFailure() override;

    // IViewManager
    HRESULT STDMETHODCALLTYPE CreateView(const char* pViewName, float pUpVector[3],
                                         float pViewVector[3], CameraTypeEnum cameraType,
                                         int iViewNum) override;
    HRESULT STDMETHODCALLTYPE EditView(const char* pViewName, float pUpVector[3],
                                       float pViewVector[3], CameraTypeEnum cameraType,
                                       int iViewNum) override;
    HRESULT STDMETHODCALLTYPE GetView(const char* pViewName, float pUpVector[3],
                                      float pViewVector[3], CameraTypeEnum* pCameraType,
                                      int* pViewNum) override;
    HRESULT STDMETHODCALLTYPE DestroyView(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE RenameView(const char* pOldViewName,
                                         const char* pNewViewName) override;
    HRESULT STDMETHODCALLTYPE SaveViews(char* pFileName, FileTypeEnum fileType) override;
    HRESULT STDMETHODCALLTYPE LoadViews(char* pFileName, FileTypeEnum fileType) override;
    HRESULT STDMETHODCALLTYPE ShowView(const char* pViewName) override;

    // IViewManager2
    HRESULT STDMETHODCALLTYPE CreateViewInfo(const char* pViewName, FullViewInfo viewInfo) override;
    HRESULT STDMETHODCALLTYPE EditViewInfo(const char* pViewName, FullViewInfo viewInfo) override;
    HRESULT STDMETHODCALLTYPE GetViewInfo(const char* pViewName, FullViewInfo* pViewInfo) override;
    HRESULT STDMETHODCALLTYPE DestroyViewExt(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE RenameViewExt(const char* pOldViewName,
                                            const char* pNewViewName) override;
    HRESULT STDMETHODCALLTYPE CreateViewExt(const char* pViewName, float pUpVector[3],
                                            float pViewVector[3], CameraTypeEnum cameraType,
                                            int iViewNum, float pFromVector[3], float pAtVector[3],
                                            float viewAngle, int iChangeBits) override;
    HRESULT STDMETHODCALLTYPE EditViewExt(const char* pViewName, float pUpVector[3],
                                          float pViewVector[3], CameraTypeEnum cameraType,
                                          int iViewNum, float pFromVector[3], float pAtVector[3],
                                          float viewAngle, int iChangeBits) override;
    HRESULT STDMETHODCALLTYPE GetViewExt(const char* pViewName, float pUpVector[3],
                                         float pViewVector[3], CameraTypeEnum* pCameraType,
                                         int* pViewNum, float pFromVector[3], float pAtVector[3],
                                         float* pViewAngle, int* pChangeBits) override;
    HRESULT STDMETHODCALLTYPE RegisterInterest(IViewManagerSink* pSink) override;
    HRESULT STDMETHODCALLTYPE UnregisterInterest(IViewManagerSink* pSink) override;
    HRESULT STDMETHODCALLTYPE BeginBatchViewEdit() override;
    HRESULT STDMETHODCALLTYPE EndBatchViewEdit() override;
    HRESULT STDMETHODCALLTYPE ShowViewExt(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE SetDefaultView(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE GetDefaultView(FullViewInfo* pViewInfo) override;
    HRESULT STDMETHODCALLTYPE ApplyDefaultView() override;
    HRESULT STDMETHODCALLTYPE SaveViewsExt(const char* pFileName, FileTypeEnum fileType) override;
    HRESULT STDMETHODCALLTYPE LoadViewsExt(const char* pFileName, FileTypeEnum fileType) override;
    HRESULT STDMETHODCALLTYPE BindViewNavigator(IViewNavigator* pNavigator) override;

    // IViewStoreEdits (ViewStoreEdits.cpp)
    HRESULT STDMETHODCALLTYPE MoveView(const char* name, int32_t direction) override;
    HRESULT STDMETHODCALLTYPE DestroyViews(const char* const* names, int32_t count) override;
    HRESULT STDMETHODCALLTYPE CheckForChanges() override;
    HRESULT STDMETHODCALLTYPE ReplaceAllViews(const char* const* names, const FullViewInfo* records,
                                              int32_t count) override;

    // IViewManagerSink: the store hears its own announcements first and keeps
    // its slot table in step with the registry.
    HRESULT STDMETHODCALLTYPE NotifyViewCreated(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE NotifyViewPreDestroy(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE NotifyViewDestroyed(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE NotifyViewPreEdit(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE NotifyViewEdited(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE NotifyViewRenamed(const char* pOldViewName,
                                                const char* pNewViewName) override;
    HRESULT STDMETHODCALLTYPE NotifyBatchViewEditBegin() override;
    HRESULT STDMETHODCALLTYPE NotifyBatchViewEditEnd() override;

    // IObjectWithSite: the site answers IHostUIService for the messages the
    // store shows (message 139 on a load that left views out). Without one,
    // messages are not shown; statuses are the same.
    HRESULT STDMETHODCALLTYPE SetSite(IUnknown* pUnkSite) override;
    HRESULT STDMETHODCALLTYPE GetSite(REFIID riid, void** ppvSite) override;

    // The slot table, for tests and diagnostics: slot k holds the view of index k + 1.
    const std::vector<std::string>& slots() const { return m_slots; }
    // The status of the last start (S_OK, S_FALSE for a seeded store, or the failure).
    HRESULT startStatus() const { return m_startStatus; }

    // Index assignment: the requested index if its slot is free (never the
    // last slot), else the first free slot, else a new slot at the end.
    void _ensureUniqueViewIndex(int& index);

private:
    enum class Event {
        Created,
        PreDestroy,
        Destroyed,
        PreEdit,
        Edited,
        Renamed,
        BatchBegin,
        BatchEnd
    };
    void _announce(Event event, const char* name = nullptr, const char* newName = nullptr);

    // `replacing`: the subkey of a view this write takes the place of (an
    // edit's or a rename's own key), rewritten in place when the new record
    // lands on the same subkey, else deleted in the same transaction.
    HRESULT _createView(const char* name, FullViewInfo& info,
                        const std::string* replacing = nullptr);
    HRESULT _destroyView(const char* name, int slot);
    bool _viewExists(const char* name);
    // The stored index of a view (what the slot bookkeeping needs of its
    // record): S_OK, or S_FALSE when the view or its index cannot be read.
    HRESULT _readIndex(const char* name, int& index);
    int _viewCount() const;
    HRESULT _checkRecord(const char* name, const FullViewInfo& info) const;
    void _putInSlot(const std::string& name, int index);

    // Registry storage (ViewRegistry.cpp).
    HRESULT _writeViewToRegistry(const std::string& base, const char* name,
                                 const FullViewInfo& info, bool older,
                                 const std::string* replacing = nullptr);
    HRESULT _readViewFromRegistry(const std::string& base, const std::string& subkey,
                                  FullViewInfo& info, bool older, std::string* storedName);
    HRESULT _deleteViewFromRegistry(const std::string& base, const char* name, bool older,
                                    int slot);
    HRESULT _findViewKey(const std::string& base, const std::string& name, std::string& subkey);
    HRESULT _loadViewsFromRegistry(const std::string& base, bool older,
                                   std::vector<std::string>& slots);
    HRESULT _mergeImportedViews();
    HRESULT _moveOlderViews();
    HRESULT _compressViews();
    HRESULT _ensureStandardViews();
    HRESULT _addLoadedView(const char* name, FullViewInfo info);
    // The stored views that carry the default mark, in slot order.
    std::vector<std::string> _markedViews();

    // View files (ViewFiles.cpp).
    using LineReader = std::function<bool(std::string&)>;
    HRESULT _saveToFile(std::ostream* stream, FileTypeEnum type);
    HRESULT _saveToUnicodeFile(std::ostream* stream, int count,
                               const std::vector<std::string>& names, unsigned long longestName);
    HRESULT _saveToRegFile(std::ostream* stream, int count, const std::vector<std::string>& names);
    // A view file parsed whole, before anything is stored: its form, its
    // records (named as the store names them) and what the reader left out.
    struct ParsedViewFile {
        enum class Form { NotViewFile, Version1, Version2, Version2Capped, Registry };
        Form form = Form::NotViewFile;
        std::vector<krav::format::NamedRecord> records;
        krav::format::ReadNotes notes;
    };
    // The readers of each form, called through _readViewFile: S_OK with
    // `file` filled, or a failure for a stream that is not of their form.
    HRESULT _loadFromTextFile(std::istream* stream, ParsedViewFile& file);
    HRESULT _parseTextFileVer1(std::istream* stream, ParsedViewFile& file);
    HRESULT _parseTextFileVer2(std::istream* stream, ParsedViewFile& file);
    HRESULT _loadFromUnicodeFile(std::istream* stream, bool swapBytes, ParsedViewFile& file);
    HRESULT _parseUnicodeFileVer1(krav::format::QjvUnicodeReader& reader, ParsedViewFile& file);
    HRESULT _parseUnicodeFileVer2(krav::format::QjvUnicodeReader& reader, ParsedViewFile& file);
    HRESULT _loadFromRegFile(std::istream* stream, ParsedViewFile& file);
    // The file's bytes through the reader of its form; Form::NotViewFile
    // when none takes it.
    ParsedViewFile _readViewFile(const std::string& bytes, FileTypeEnum type);
    // Stores parsed records as the file's form loads them (numbering,
    // replacing, the cap of the UTF-16 form, compression).
    HRESULT _storeParsed(ParsedViewFile& file, bool* allLoaded);
    HRESULT _storeVersion1(std::vector<krav::format::NamedRecord>& records);
    HRESULT _storeVersion2(std::vector<krav::format::NamedRecord>& records, int cap, bool* leftOut);
    // During a load, notes why a view was not stored (`hr` its status).
    void _noteLoaded(const std::string& name, HRESULT hr);
    std::vector<std::string>* m_loadNotes = nullptr;
    bool m_loadNotesCapTold = false; // message 139 tells of the cap instead
    // Shows `text` through the site; remembers that the user was told.
    void _tell(const std::string& text, UINT type);
    bool m_toldLastFailure = false;
    HRESULT _stripMergeTag(const char* storeKey, const char* viewKey, int index);
    int _highestStoredIndex();
    void _reloadSlots();
    void _showMessage(unsigned id, UINT type);

public:
    // True when the file at `path` begins with "REGEDIT" (the registry editor's header).
    static int _regFileMatchesPlatform(const char* path);
    // The 8-bit view file writer (the first `count` of `names`). Saving
    // writes UTF-16; this form is kept for tools that want plain text.
    HRESULT _saveToTextFile(std::ostream* stream, int count, const std::vector<std::string>& names);

private:
    // The transaction of one store operation, opened before anything of the
    // operation looks at the views (its announcements included). The
    // outermost scope of this store first catches up with what other stores,
    // in this process or another, changed since this one last looked: the
    // slot table is read again, the key map and the default mark forgotten.
    // Inside the transaction nothing else can change the views, so the
    // operation's checks and writes see one state. `writes`: the operation
    // may change views; its commit() tells the other stores of this process.
    class OpScope {
    public:
        OpScope(CViewManager& store, bool writes = false);
        ~OpScope();
        OpScope(const OpScope&) = delete;
        OpScope& operator=(const OpScope&) = delete;
        LSTATUS commit();
        void rollback() { tx_.rollback(); }

    private:
        CViewManager& store_;
        bool writes_;
        zul::registry::Transaction tx_;
    };
    void _syncWithRegistry();
    // Compound edits (ViewStoreEdits.cpp): the stored names in list order;
    // the dialog's swap of two views; the end of a compound edit's scope,
    // committing it or, for a failed `hr`, undoing it all and rereading the
    // table (returns the edit's final status).
    std::vector<std::string> _listedNames() const;
    HRESULT _swapViews(const std::string& a, const std::string& b);
    HRESULT _endCompound(OpScope& tx, HRESULT hr);
    int m_opDepth = 0;
    // The table was read anew because views changed elsewhere; the
    // outermost operation announces a batch when its transaction is over.
    bool m_caughtUp = false;
    uint64_t m_generation = 0; // the hive's, for other processes' writes
    uint64_t m_seenWrites = 0; // this process's stores' writes seen so far

    std::vector<std::string> m_slots;
    std::string m_defaultName;
    std::string m_currentKey = krav::kStoreKeyName; // relative to the per-user settings root
    std::string m_olderKey = krav::kOlderStoreKeyName;
    std::string m_currentPath; // below HKEY_CURRENT_USER
    std::string m_olderPath;
    // Name -> subkey of the current layout, checked against "View Name" on
    // every use, so a stale entry costs a rescan and never a wrong view. A
    // name it lacks is absent when the key still has the number of subkeys
    // the map accounts for; otherwise the subkeys are scanned again.
    std::unordered_map<std::string, std::string> m_keyOfName;
    DWORD m_knownKeyCount = 0;
    bool m_keyMapValid = false;
    HRESULT _scanViewKeys(const std::string& base);
    std::vector<IViewManagerSink*> m_sinks; // counted references, registration order
    zul::com::ComPtr<IViewNavigator> m_navigator;
    krav::CSite m_site;
    HRESULT m_startStatus = S_OK;
};
