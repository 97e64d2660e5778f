// Scene formats through VTK's own readers: VRML 2 (vtkVRMLImporter) and
// glTF when Assimp's schema check refuses a file that VTK's glTF reader
// draws. Each placed shape is a part, in its material's colour.
#include <vtkActor.h>
#include <vtkActorCollection.h>
#include <vtkCallbackCommand.h>
#include <vtkCommand.h>
#include <vtkCompositeDataSet.h>
#include <vtkDataObjectTreeIterator.h>
#include <vtkGLTFReader.h>
#include <vtkInformation.h>
#include <vtkMapper.h>
#include <vtkMultiBlockDataSet.h>
#include <vtkNew.h>
#include <vtkPolyData.h>
#include <vtkProperty.h>
#include <vtkRenderWindow.h>
#include <vtkRenderer.h>
#include <vtkTransform.h>
#include <vtkTransformPolyDataFilter.h>
#include <vtkVRMLImporter.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string>

#include "ReadParts.h"

namespace zul::scene::helper {
namespace {

// VTK reports a reader's failure as an error event, not a return value.
struct ErrorWatch {
    std::string first;
    vtkNew<vtkCallbackCommand> command;
    explicit ErrorWatch(vtkObject* watched) {
        command->SetClientData(this);
        command->SetCallback([](vtkObject*, unsigned long, void* self, void* text) {
            auto* watch = static_cast<ErrorWatch*>(self);
            if (watch->first.empty() && text) watch->first = static_cast<const char*>(text);
        });
        watched->AddObserver(vtkCommand::ErrorEvent, command);
    }
    bool failed() const { return !first.empty(); }
};

// The polygonal data an actor draws, placed where the actor puts it.
vtkSmartPointer<vtkPolyData> s_placedGeometry(vtkActor* actor) {
    vtkMapper* mapper = actor->GetMapper();
    if (!mapper) return nullptr;
    if (vtkAlgorithm* source = mapper->GetInputAlgorithm()) source->Update();
    auto* data = vtkPolyData::SafeDownCast(mapper->GetInputDataObject(0, 0));
    if (!data || data->GetNumberOfPoints() == 0) return nullptr;
    vtkNew<vtkTransform> place;
    place->SetMatrix(actor->GetMatrix());
    vtkNew<vtkTransformPolyDataFilter> moved;
    moved->SetInputData(data);
    moved->SetTransform(place);
    moved->Update();
    auto out = vtkSmartPointer<vtkPolyData>::New();
    out->ShallowCopy(moved->GetOutput());
    return out;
}

} // namespace

bool readVrmlFile(const std::string& path, PartSink& sink, std::string& why) {
    // The first version of the language is another grammar, which VTK's
    // importer does not parse.
    {
        std::ifstream in(path, std::ios::binary);
        std::string first;
        std::getline(in, first);
        if (first.rfind("#VRML V1", 0) == 0) {
            why = "a VRML 1.0 file: only VRML 2 (VRML97) files are read";
            return false;
        }
    }
    vtkNew<vtkVRMLImporter> importer;
    importer->SetFileName(path.c_str());
    // The importer puts its actors into a window it is given; nothing is
    // drawn, so no display is opened.
    vtkNew<vtkRenderWindow> window;
    vtkNew<vtkRenderer> renderer;
    window->AddRenderer(renderer);
    importer->SetRenderWindow(window);
    ErrorWatch errors(importer);
    reportProgress(0.1, "reading");
    importer->Read();
    vtkActorCollection* actors = renderer->GetActors();
    actors->InitTraversal();
    const int total = std::max(actors->GetNumberOfItems(), 1);
    int at = 0;
    while (vtkActor* actor = actors->GetNextActor()) {
        reportProgress(0.5 + 0.4 * double(at++) / total, "placing the parts");
        OutPart part;
        part.geometry = s_placedGeometry(actor);
        if (!part.geometry) continue;
        vtkProperty* look = actor->GetProperty();
        look->GetColor(part.rgba);
        part.rgba[3] = std::clamp(look->GetOpacity(), 0.0, 1.0);
        if (part.rgba[3] <= 0.01) part.rgba[3] = 1; // as for Assimp's materials
        part.hasColour = std::isfinite(part.rgba[0] + part.rgba[1] + part.rgba[2]);
        if (!sink.add(part, why)) return false;
    }
    if (sink.count() == 0) {
        // VTK's parser stops at the first thing it does not understand,
        // often without an error: a damaged file and one without shapes
        // look alike here.
        why = errors.failed() ? "not a VRML 2 file that can be read"
                              : "no shapes could be read from it (a damaged VRML file, or one "
                                "without shapes)";
        return false;
    }
    return true;
}

bool readGltfWithVtk(const std::string& path, PartSink& sink, std::string& why) {
    vtkNew<vtkGLTFReader> reader;
    reader->SetFileName(path.c_str());
    ErrorWatch errors(reader);
    reportProgress(0.1, "reading");
    reader->Update();
    vtkMultiBlockDataSet* blocks = reader->GetOutput();
    if (!blocks || errors.failed()) {
        why = "not a glTF file that can be read";
        return false;
    }
    vtkSmartPointer<vtkDataObjectTreeIterator> leaves;
    leaves.TakeReference(vtkDataObjectTreeIterator::SafeDownCast(blocks->NewIterator()));
    leaves->VisitOnlyLeavesOn();
    leaves->TraverseSubTreeOn();
    for (leaves->InitTraversal(); !leaves->IsDoneWithTraversal(); leaves->GoToNextItem()) {
        auto* data = vtkPolyData::SafeDownCast(leaves->GetCurrentDataObject());
        if (!data || data->GetNumberOfPoints() == 0) continue;
        OutPart part;
        if (vtkInformation* meta = leaves->GetCurrentMetaData();
            meta && meta->Has(vtkCompositeDataSet::NAME()))
            part.name = meta->Get(vtkCompositeDataSet::NAME());
        part.geometry = vtkSmartPointer<vtkPolyData>::New();
        part.geometry->ShallowCopy(data);
        if (!sink.add(part, why)) return false;
    }
    if (sink.count() == 0) {
        why = "no geometry in it (no mesh)";
        return false;
    }
    return true;
}

} // namespace zul::scene::helper
