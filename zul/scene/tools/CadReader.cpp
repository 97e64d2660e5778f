// STEP and IGES through OpenCASCADE's data exchange with its document model
// (XCAF), so that the file's assembly structure, names and colours come
// with the shapes. Every solid is a part (and every shell or set of faces
// that belongs to no solid), placed where its assembly puts it.
#include <BRepBndLib.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRep_Builder.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <IGESCAFControl_Reader.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Message_ProgressIndicator.hxx>
#include <Message_ProgressScope.hxx>
#include <Poly_Triangulation.hxx>
#include <STEPCAFControl_Reader.hxx>
#include <Standard_Failure.hxx>
#include <Standard_Version.hxx>
#include <TDF_Label.hxx>
#include <TDataStd_Name.hxx>
#include <TDocStd_Document.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Compound.hxx>
#include <TopoDS_Face.hxx>
#include <XCAFApp_Application.hxx>
#include <XCAFDoc_ShapeTool.hxx>
#include <XCAFPrs.hxx>
#include <XCAFPrs_DocumentExplorer.hxx>
#include <XCAFPrs_IndexedDataMapOfShapeStyle.hxx>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkPoints.h>
#include <vtkUnsignedCharArray.h>

#include <array>
#include <cmath>
#include <vector>

#include "ReadParts.h"

namespace zul::scene::helper {
namespace {

// How finely a part is triangulated: the chord of a curved face may stand
// off the true surface by at most kRelativeDeflection times the diagonal of
// the part's bounding box (a 100 mm part: 0.1 mm), and neighbouring
// triangles turn by at most kAngularDeflection radians (about 20 degrees).
// Relative to each part, so a screw and the frame it sits in both look
// smooth, and a model's triangle count does not depend on its units.
constexpr double kRelativeDeflection = 0.001;
constexpr double kAngularDeflection = 0.35;

// The share of the progress bar each phase takes.
constexpr double kReadShare = 0.35, kTransferShare = 0.25;

class ProgressLines : public Message_ProgressIndicator {
public:
    ProgressLines(double from, double span) : from_(from), span_(span) {}
    void Show(const Message_ProgressScope&, const Standard_Boolean) override {
        reportProgress(from_ + span_ * GetPosition(), "building the shapes");
    }

private:
    double from_, span_;
};

std::string s_nameOf(const TDF_Label& label) {
    Handle(TDataStd_Name) name;
    if (label.IsNull() || !label.FindAttribute(TDataStd_Name::GetID(), name)) return {};
    TCollection_AsciiString ascii(name->Get(), '?');
    return ascii.ToCString();
}

void s_rgba(const Quantity_ColorRGBA& colour, double out[4]) {
    colour.GetRGB().Values(out[0], out[1], out[2], Quantity_TOC_sRGB);
    out[3] = colour.Alpha();
}

// One part still to triangulate: a sub-shape of a leaf of the assembly.
struct Pending {
    TopoDS_Shape shape;
    gp_Trsf place; // the leaf's placement in the assembly
    std::string name;
    bool hasColour = false;
    double rgba[4] = {0.7, 0.7, 0.7, 1};
    size_t styles = 0; // index into the style maps
};

// The triangles of every face of `p.shape`, one set of points per face,
// with per-cell colours when some face has a colour of its own.
vtkSmartPointer<vtkPolyData> s_triangles(const Pending& p,
                                         const XCAFPrs_IndexedDataMapOfShapeStyle& styles) {
    vtkNew<vtkPoints> points;
    points->SetDataTypeToFloat();
    vtkNew<vtkCellArray> polys;
    std::vector<std::array<unsigned char, 4>> cellColours;
    bool faceColours = false;
    const std::array<unsigned char, 4> own = {
        (unsigned char)std::lround(p.rgba[0] * 255), (unsigned char)std::lround(p.rgba[1] * 255),
        (unsigned char)std::lround(p.rgba[2] * 255), (unsigned char)std::lround(p.rgba[3] * 255)};
    for (TopExp_Explorer faces(p.shape, TopAbs_FACE); faces.More(); faces.Next()) {
        const TopoDS_Face& face = TopoDS::Face(faces.Current());
        TopLoc_Location location;
        const Handle(Poly_Triangulation)& tri = BRep_Tool::Triangulation(face, location);
        if (tri.IsNull() || tri->NbTriangles() == 0) continue;
        std::array<unsigned char, 4> colour = own;
        if (const XCAFPrs_Style* style = styles.Seek(face); style && style->IsSetColorSurf()) {
            double rgba[4];
            s_rgba(style->GetColorSurfRGBA(), rgba);
            for (int i = 0; i < 4; ++i)
                colour[i] = (unsigned char)std::lround(rgba[i] * 255);
            faceColours = faceColours || colour != own;
        }
        const gp_Trsf toWorld = p.place * location.Transformation();
        const vtkIdType base = points->GetNumberOfPoints();
        for (Standard_Integer i = 1; i <= tri->NbNodes(); ++i) {
            const gp_Pnt at = tri->Node(i).Transformed(toWorld);
            points->InsertNextPoint(at.X(), at.Y(), at.Z());
        }
        const bool reversed = face.Orientation() == TopAbs_REVERSED;
        const Standard_Integer nodes = tri->NbNodes();
        for (Standard_Integer i = 1; i <= tri->NbTriangles(); ++i) {
            Standard_Integer a, b, c;
            tri->Triangle(i).Get(a, b, c);
            if (a < 1 || b < 1 || c < 1 || a > nodes || b > nodes || c > nodes) continue;
            if (reversed) std::swap(b, c);
            const vtkIdType ids[3] = {base + a - 1, base + b - 1, base + c - 1};
            polys->InsertNextCell(3, ids);
            cellColours.push_back(colour);
        }
    }
    auto data = vtkSmartPointer<vtkPolyData>::New();
    data->SetPoints(points);
    data->SetPolys(polys);
    if (faceColours) {
        vtkNew<vtkUnsignedCharArray> colours;
        colours->SetName("zul_colour");
        colours->SetNumberOfComponents(4);
        colours->SetNumberOfTuples(vtkIdType(cellColours.size()));
        for (size_t i = 0; i < cellColours.size(); ++i)
            colours->SetTypedTuple(vtkIdType(i), cellColours[i].data());
        data->GetCellData()->SetScalars(colours);
    }
    return data;
}

// The parts of one leaf: its solids; the shells and faces outside any solid.
void s_collect(const TopoDS_Shape& shape, Pending leaf, std::vector<Pending>& out) {
    std::vector<TopoDS_Shape> pieces;
    for (TopExp_Explorer e(shape, TopAbs_SOLID); e.More(); e.Next())
        pieces.push_back(e.Current());
    for (TopExp_Explorer e(shape, TopAbs_SHELL, TopAbs_SOLID); e.More(); e.Next())
        pieces.push_back(e.Current());
    bool looseFaces = false;
    for (TopExp_Explorer e(shape, TopAbs_FACE, TopAbs_SHELL); e.More() && !looseFaces; e.Next())
        looseFaces = true;
    if (looseFaces) {
        // Faces outside any shell go together as one part.
        TopoDS_Compound faces;
        BRep_Builder builder;
        builder.MakeCompound(faces);
        for (TopExp_Explorer e(shape, TopAbs_FACE, TopAbs_SHELL); e.More(); e.Next())
            builder.Add(faces, e.Current());
        pieces.push_back(faces);
    }
    for (size_t i = 0; i < pieces.size(); ++i) {
        Pending p = leaf;
        p.shape = pieces[i];
        if (pieces.size() > 1) p.name += " " + std::to_string(i + 1);
        out.push_back(p);
    }
}

bool s_read(const std::string& path, bool iges, PartSink& sink, std::string& why) {
    // OpenCASCADE's messages go nowhere: this process speaks through its
    // progress lines and its last line on standard error only.
    Message::DefaultMessenger()->ChangePrinters().Clear();
    Handle(XCAFApp_Application) app = XCAFApp_Application::GetApplication();
    Handle(TDocStd_Document) doc;
    app->NewDocument("MDTV-XCAF", doc);
    const char* kind = iges ? "IGES" : "STEP";
    reportProgress(0.02, "reading the file");
    Handle(ProgressLines) progress = new ProgressLines(kReadShare, kTransferShare);
    bool transferred = false;
    IFSelect_ReturnStatus status;
    if (iges) {
        IGESCAFControl_Reader reader;
        reader.SetColorMode(true);
        reader.SetNameMode(true);
        status = reader.ReadFile(path.c_str());
        reportProgress(kReadShare, "building the shapes");
        if (status == IFSelect_RetDone) transferred = reader.Transfer(doc, progress->Start());
    } else {
        STEPCAFControl_Reader reader;
        reader.SetColorMode(true);
        reader.SetNameMode(true);
        status = reader.ReadFile(path.c_str());
        reportProgress(kReadShare, "building the shapes");
        if (status == IFSelect_RetDone) transferred = reader.Transfer(doc, progress->Start());
    }
    if (status != IFSelect_RetDone) {
        why = std::string("not a ") + kind + " file that can be read (" +
              (status == IFSelect_RetVoid ? "it holds no entities"
                                          : "damaged, or not " + std::string(kind)) +
              ")";
        return false;
    }
    if (!transferred) {
        why = std::string("no shape could be made of it (a damaged or unsupported ") + kind +
              " file)";
        return false;
    }

    // The leaves of the assembly, each with its placement and style; then
    // their parts.
    std::vector<Pending> parts;
    std::vector<XCAFPrs_IndexedDataMapOfShapeStyle> styleMaps;
    for (XCAFPrs_DocumentExplorer leaves(doc, XCAFPrs_DocumentExplorerFlags_OnlyLeafNodes);
         leaves.More(); leaves.Next()) {
        const XCAFPrs_DocumentNode& node = leaves.Current();
        TopoDS_Shape shape = XCAFDoc_ShapeTool::GetShape(node.RefLabel);
        if (shape.IsNull() || !node.Style.IsVisible()) continue;
        // A shape that is not an instance has its own placement in the
        // node's already; it must not be applied twice.
        if (node.Label == node.RefLabel) shape.Location(TopLoc_Location());
        Pending leaf;
        leaf.place = node.Location.Transformation();
        // The instance's name, unless it is one the document made up
        // ("=>[0:1:1:2]"); then the name of what it places.
        leaf.name = s_nameOf(node.Label);
        if (leaf.name.empty() || leaf.name.rfind("=>[", 0) == 0)
            leaf.name = s_nameOf(node.RefLabel);
        if (leaf.name.empty()) leaf.name = "Part";
        if (node.Style.IsSetColorSurf()) {
            leaf.hasColour = true;
            s_rgba(node.Style.GetColorSurfRGBA(), leaf.rgba);
        }
        styleMaps.emplace_back();
        XCAFPrs::CollectStyleSettings(node.RefLabel, TopLoc_Location(), styleMaps.back());
        leaf.styles = styleMaps.size() - 1;
        const size_t first = parts.size();
        s_collect(shape, leaf, parts);
        // A solid or shell with a colour of its own wears it.
        for (size_t i = first; i < parts.size(); ++i)
            if (const XCAFPrs_Style* style = styleMaps.back().Seek(parts[i].shape);
                style && style->IsSetColorSurf()) {
                parts[i].hasColour = true;
                s_rgba(style->GetColorSurfRGBA(), parts[i].rgba);
            }
    }
    if (parts.empty()) {
        why = std::string("no solid, shell or face in it (an empty ") + kind + " file)";
        return false;
    }
    const double meshFrom = kReadShare + kTransferShare;
    for (size_t i = 0; i < parts.size(); ++i) {
        // Solid by solid: a file of thousands of solids spends most of its
        // read here, and the user sees it move.
        const std::string phase =
            "triangulating solid " + std::to_string(i + 1) + " of " + std::to_string(parts.size());
        reportProgress(meshFrom + (1 - meshFrom) * double(i) / double(parts.size()), phase.c_str());
        Bnd_Box box;
        BRepBndLib::Add(parts[i].shape, box);
        if (box.IsVoid()) continue;
        const double diagonal = std::sqrt(box.SquareExtent());
        if (!std::isfinite(diagonal) || diagonal <= 0) continue;
        BRepMesh_IncrementalMesh(parts[i].shape, diagonal * kRelativeDeflection, false,
                                 kAngularDeflection, true);
        OutPart out;
        out.name = parts[i].name;
        out.hasColour = parts[i].hasColour;
        std::copy(parts[i].rgba, parts[i].rgba + 4, out.rgba);
        out.facetedByFaces = true;
        out.geometry = s_triangles(parts[i], styleMaps[parts[i].styles]);
        if (out.geometry->GetNumberOfCells() == 0) continue;
        if (!sink.add(out, why)) return false;
    }
    if (sink.count() == 0) {
        why = std::string("no face of it could be triangulated (a damaged ") + kind + " file)";
        return false;
    }
    return true;
}

} // namespace

std::string cadLibraryVersion() {
    return OCC_VERSION_COMPLETE;
}

bool readCadFile(const std::string& path, bool iges, PartSink& sink, std::string& why) {
    try {
        return s_read(path, iges, sink, why);
    } catch (const Standard_Failure&) {
        // OpenCASCADE's exception names are for its developers.
        why = std::string("not ") + (iges ? "an IGES" : "a STEP") +
              " file that can be read: its reader stopped on something it does not handle";
    } catch (const std::exception&) {
        why = std::string("not ") + (iges ? "an IGES" : "a STEP") +
              " file that can be read: its reader failed on it";
    }
    return false;
}

} // namespace zul::scene::helper
