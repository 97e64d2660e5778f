// zulreadmodel MODEL OUT.vtp: the helper process in which the scene reads a
// model file with VTK's reader for its format (see ModelReader.h). Writes
// the geometry to OUT.vtp and exits 0, or prints one line saying what is
// wrong and exits 1. A reader that crashes takes only this process down.
#include <unistd.h>

#include <vtkAlgorithm.h>
#include <vtkCallbackCommand.h>
#include <vtkCommand.h>
#include <vtkNew.h>
#include <vtkOBJReader.h>
#include <vtkObject.h>
#include <vtkPLYReader.h>
#include <vtkPolyData.h>
#include <vtkSTLReader.h>
#include <vtkSmartPointer.h>
#include <vtkXMLPolyDataReader.h>
#include <vtkXMLPolyDataWriter.h>

#include <cstdio>
#include <string>

#include "zul/scene/ModelCheck.h"

namespace {

std::string s_error; // the reader's first error message

void s_onError(vtkObject*, unsigned long, void*, void* data) {
    if (s_error.empty() && data) s_error = static_cast<const char*>(data);
}

// Ends without running destructors or exit handlers: nothing is left to
// tidy, and a sanitizer's leak report about VTK's process-wide blocks would
// be taken for a failure.
[[noreturn]] void s_finish(int code, const std::string& message = {}) {
    if (!message.empty()) std::fprintf(stderr, "%s\n", message.c_str());
    std::fflush(stderr);
    _exit(code);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) s_finish(2, "usage: zulreadmodel MODEL OUT.vtp");
    vtkObject::GlobalWarningDisplayOff();
    const std::string path = argv[1];
    vtkSmartPointer<vtkAlgorithm> reader;
    switch (zul::scene::modelFormatOf(path)) {
    case zul::scene::ModelFormat::Stl:
        reader = vtkSmartPointer<vtkSTLReader>::New();
        break;
    case zul::scene::ModelFormat::Obj:
        reader = vtkSmartPointer<vtkOBJReader>::New();
        break;
    case zul::scene::ModelFormat::Ply:
        reader = vtkSmartPointer<vtkPLYReader>::New();
        break;
    case zul::scene::ModelFormat::Vtp:
        reader = vtkSmartPointer<vtkXMLPolyDataReader>::New();
        break;
    case zul::scene::ModelFormat::Unknown:
        s_finish(1, "not an STL, OBJ, PLY or VTP file");
    }
    vtkNew<vtkCallbackCommand> onError;
    onError->SetCallback(&s_onError);
    reader->AddObserver(vtkCommand::ErrorEvent, onError);
    if (auto* stl = vtkSTLReader::SafeDownCast(reader))
        stl->SetFileName(path.c_str());
    else if (auto* obj = vtkOBJReader::SafeDownCast(reader))
        obj->SetFileName(path.c_str());
    else if (auto* ply = vtkPLYReader::SafeDownCast(reader))
        ply->SetFileName(path.c_str());
    else if (auto* vtp = vtkXMLPolyDataReader::SafeDownCast(reader))
        vtp->SetFileName(path.c_str());
    reader->Update();
    vtkPolyData* data = vtkPolyData::SafeDownCast(reader->GetOutputDataObject(0));
    if (!data || data->GetNumberOfCells() == 0) {
        std::string why = "no geometry in it";
        if (!s_error.empty()) {
            // VTK's messages open with where in VTK they were raised.
            const size_t at = s_error.find("): ");
            why += " (" + (at == std::string::npos ? s_error : s_error.substr(at + 3)) + ")";
            while (!why.empty() && (why.back() == '\n' || why.back() == ')'))
                why.pop_back();
            why += ")";
        }
        s_finish(1, why);
    }
    vtkNew<vtkXMLPolyDataWriter> writer;
    writer->SetFileName(argv[2]);
    writer->SetInputData(data);
    writer->SetDataModeToAppended();
    writer->EncodeAppendedDataOff();
    writer->SetCompressorTypeToNone();
    if (writer->Write() != 1)
        s_finish(1, "cannot hand the geometry back (writing the scratch file failed)");
    s_finish(0);
}
