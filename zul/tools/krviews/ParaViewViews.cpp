// Views to and from ParaView's camera files: one view to a camera
// configuration (.pvcc), several to a custom viewpoints file (.pvcvbc),
// and back into the store under their names.
#include <iostream>

#include "KRAdvancedViews/StoreLayout.h"
#include "Krviews.h"

namespace krviews {

using krav::format::ParaViewFileKind;

int saveParaViewViews(IViewManager2* store, ParaViewFileKind kind,
                      const std::vector<std::string>& names, const std::string& file) {
    if (kind == ParaViewFileKind::CameraConfiguration && names.size() != 1) {
        std::cerr << "krviews: a .pvcc file holds one view: name it with --name NAME\n";
        return kUsage;
    }
    std::vector<krav::format::NamedRecord> records;
    if (names.empty()) {
        LSTATUS st = ERROR_SUCCESS;
        for (const krav::StoredView& v : krav::ListStoredViews(store, &st))
            records.push_back({v.name, v.info});
        if (st != ERROR_SUCCESS && st != ERROR_FILE_NOT_FOUND)
            return failure("cannot read the stored views", HRESULT_FROM_WIN32(st));
        if (records.empty()) return nothing("the store holds no views; nothing was saved");
    }
    if (const int status = namedRecords(store, names, records); status != kDone) return status;
    std::vector<std::string> directionOnly;
    std::string why;
    if (!krav::format::WriteParaViewViews(file, kind, records, {}, directionOnly, why)) {
        std::cerr << "krviews: cannot save to '" << file << "': " << why << "; nothing was saved\n";
        return kFailure;
    }
    // A view holding a direction only has no place to stand: it was written
    // looking at the origin, which ParaView's Reset Camera then fits.
    if (!directionOnly.empty()) {
        std::string list;
        for (const std::string& name : directionOnly)
            list += (list.empty() ? "'" : ", '") + name + "'";
        std::cerr << "krviews: note: " << list << (directionOnly.size() == 1 ? " holds" : " hold")
                  << " a direction only, written looking at the origin from one unit away "
                     "(ParaView's Reset Camera fits such a view to the data)\n";
    }
    if (records.size() > krav::format::kParaViewMaxViewpoints)
        std::cerr << "krviews: note: ParaView shows the first "
                  << krav::format::kParaViewMaxViewpoints << " of the " << records.size()
                  << " viewpoints in " << file << "\n";
    return kDone;
}

int loadParaViewViews(IViewManager2* store, ParaViewFileKind kind, const std::string& file) {
    std::vector<krav::format::NamedRecord> views;
    std::vector<std::string> notes;
    std::string why;
    if (!krav::format::ReadParaViewViews(file, kind, views, notes, why)) {
        std::cerr << "krviews: cannot load '" << file << "': " << why << "; nothing was loaded\n";
        return kFailure;
    }
    for (const std::string& note : notes)
        std::cerr << "krviews: " << file << ": " << note << "\n";
    if (views.empty()) return nothing(file + " holds no camera; nothing was loaded");
    std::string failed;
    if (const HRESULT hr = krav::format::StoreViewsReplacing(store, views, failed); hr != S_OK)
        return failure("cannot store " + (failed.empty() ? "the views" : "'" + failed + "'") +
                           " of '" + file + "'; nothing was loaded",
                       hr);
    return kDone;
}

} // namespace krviews
