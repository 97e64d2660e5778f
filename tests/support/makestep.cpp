// makestep OUT.step [--grid N]: writes STEP files the CAD reader is tested
// and measured with, since the real files at hand each hold one solid
// without colours.
//
// Without --grid: an assembly of three named, coloured solids whose sizes
// and places are known: "Red box" 10 x 20 x 30 at the origin (red), "Green
// cylinder" radius 5, height 40, standing on (30, 0, 0) (green), "Blue
// sphere" radius 8 about (0, 50, 0) (blue). The whole spans x -8..35,
// y -5..58, z -8..40.
//
// With --grid N: N x N x N distinct plates with a hole through each, every
// one its own solid in its own colour: N = 14 writes about 10 MB.
#include <BRepAlgoAPI_Cut.hxx>
#include <BRepBuilderAPI_Transform.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeCylinder.hxx>
#include <BRepPrimAPI_MakeSphere.hxx>
#include <BRep_Builder.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Quantity_Color.hxx>
#include <STEPCAFControl_Writer.hxx>
#include <TDataStd_Name.hxx>
#include <TDocStd_Document.hxx>
#include <TopoDS_Compound.hxx>
#include <XCAFApp_Application.hxx>
#include <XCAFDoc_ColorTool.hxx>
#include <XCAFDoc_DocumentTool.hxx>
#include <XCAFDoc_ShapeTool.hxx>
#include <gp_Ax2.hxx>

#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 2 && !(argc == 4 && std::strcmp(argv[2], "--grid") == 0)) {
        std::fprintf(stderr, "usage: makestep OUT.step [--grid N]\n");
        return 2;
    }
    Message::DefaultMessenger()->ChangePrinters().Clear();
    Handle(TDocStd_Document) doc;
    XCAFApp_Application::GetApplication()->NewDocument("MDTV-XCAF", doc);
    Handle(XCAFDoc_ShapeTool) shapes = XCAFDoc_DocumentTool::ShapeTool(doc->Main());
    Handle(XCAFDoc_ColorTool) colours = XCAFDoc_DocumentTool::ColorTool(doc->Main());
    const TDF_Label assembly = shapes->NewShape();
    TDataStd_Name::Set(assembly, "Assembly");
    auto place = [&](const TopoDS_Shape& solid, const char* name, const Quantity_Color& colour) {
        const TDF_Label part = shapes->AddShape(solid, false);
        TDataStd_Name::Set(part, name);
        colours->SetColor(part, colour, XCAFDoc_ColorSurf);
        shapes->AddComponent(assembly, part, TopLoc_Location());
    };
    if (argc == 2) {
        place(BRepPrimAPI_MakeBox(10, 20, 30).Shape(), "Red box",
              Quantity_Color(1, 0, 0, Quantity_TOC_sRGB));
        place(BRepPrimAPI_MakeCylinder(gp_Ax2(gp_Pnt(30, 0, 0), gp::DZ()), 5, 40).Shape(),
              "Green cylinder", Quantity_Color(0, 1, 0, Quantity_TOC_sRGB));
        place(BRepPrimAPI_MakeSphere(gp_Pnt(0, 50, 0), 8).Shape(), "Blue sphere",
              Quantity_Color(0, 0, 1, Quantity_TOC_sRGB));
    } else {
        const int n = std::stoi(argv[3]);
        const TopoDS_Shape plate =
            BRepAlgoAPI_Cut(
                BRepPrimAPI_MakeBox(8, 8, 2).Shape(),
                BRepPrimAPI_MakeCylinder(gp_Ax2(gp_Pnt(4, 4, -1), gp::DZ()), 2, 4).Shape())
                .Shape();
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                for (int k = 0; k < n; ++k) {
                    gp_Trsf move;
                    move.SetTranslation(gp_Vec(12.0 * i, 12.0 * j, 6.0 * k));
                    // A copy: every plate its own geometry, as in a real model.
                    const TopoDS_Shape copy = BRepBuilderAPI_Transform(plate, move, true).Shape();
                    const std::string name = "Plate " + std::to_string(i) + "." +
                                             std::to_string(j) + "." + std::to_string(k);
                    place(copy, name.c_str(),
                          Quantity_Color(double(i) / n, double(j) / n, double(k) / n,
                                         Quantity_TOC_sRGB));
                }
    }
    shapes->UpdateAssemblies();
    STEPCAFControl_Writer writer;
    writer.SetColorMode(true);
    writer.SetNameMode(true);
    const bool written =
        writer.Transfer(doc, STEPControl_AsIs) && writer.Write(argv[1]) == IFSelect_RetDone;
    if (!written) std::fprintf(stderr, "makestep: cannot write %s\n", argv[1]);
    // Ended without exit handlers: OpenCASCADE's process-wide tables would
    // be reported as leaks by a sanitizer's leak check and taken for a failure.
    std::fflush(nullptr);
    _exit(written ? 0 : 1);
}
