// Reading model files so that no file can take the program down. The VTK
// readers are not hardened against damaged files (a PLY whose header does
// not match its data crashes one; a binary STL with a false count makes one
// allocate gigabytes), and their code is not ours to fix. So every file
// goes through two guards:
//   1. checkModelBytes (ModelCheck.h) compares what the header promises with
//      the bytes that follow (PLY elements and lists, face indices; binary
//      STL triangle counts) and names what does not fit;
//   2. the reader itself runs in a helper process, `zulreadmodel`, beside
//      this library ($ZUL_MODEL_READER names another), with a memory limit
//      (half the machine's memory) and a time limit; it hands back
//      the geometry as a VTK XML file. A crash, a hang or an exhausted
//      memory limit there becomes a message here.
#pragma once

#include <string>

#include <vtkPolyData.h>
#include <vtkSmartPointer.h>

#include "zul/com/com.h"

namespace zul::scene {

// The geometry of the STL, OBJ, PLY or VTP file `path`; null with `why`
// (naming the file and what is wrong) when it cannot be read or holds no
// geometry.
ZUL_PLATFORM_API vtkSmartPointer<vtkPolyData> readModelFile(const std::string& path,
                                                            std::string& why);

// How long the helper may take for one file, in seconds.
inline constexpr int kModelReadSeconds = 300;

} // namespace zul::scene
