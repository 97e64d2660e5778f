// krviews's command line: what it said (Args), the record options add and
// edit share, and the commands with their options and help.
#pragma once

#include <CLI/CLI.hpp>

#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "KRAdvancedViews/ViewTypes.h"

namespace krviews {

class EarlyRead;

// Three numbers "X,Y,Z" (C locale); false when the text is anything else.
bool parseVector(const std::string& text, float out[3]);

// The options shared by add and edit; each set only when given.
struct RecordOptions {
    std::optional<std::string> up, view, type, from, at, fov, index, bits;

    void attach(CLI::App* cmd) {
        cmd->add_option("--up", up, "Up vector X,Y,Z");
        cmd->add_option("--view", view, "View vector X,Y,Z (eye towards the scene)");
        cmd->add_option("--type", type, "Camera type: ortho or persp");
        cmd->add_option("--from", from, "Look-from point X,Y,Z");
        cmd->add_option("--at", at, "Look-at point X,Y,Z");
        cmd->add_option("--fov", fov, "Field of view in degrees");
        cmd->add_option("--index", index, "Position in the list (1-based)");
        cmd->add_option("--bits", bits, "Change bits (decimal or 0x hex)");
    }

    // Applies the given options to `info`; false with a message on bad input.
    bool apply(FullViewInfo& info) const {
        auto vec = [](const std::optional<std::string>& o, float v[3], const char* what) {
            if (o && !parseVector(*o, v)) {
                std::cerr << "krviews: --" << what << " takes three numbers X,Y,Z, not '" << *o
                          << "'\n";
                return false;
            }
            return true;
        };
        if (!vec(up, info.pUpVector, "up") || !vec(view, info.pViewVector, "view") ||
            !vec(from, info.pFromVector, "from") || !vec(at, info.pAtVector, "at"))
            return false;
        if (type) {
            if (*type == "ortho")
                info.cameraType = Orthographic;
            else if (*type == "persp")
                info.cameraType = Perspective;
            else {
                std::cerr << "krviews: --type is ortho or persp, not '" << *type << "'\n";
                return false;
            }
        }
        try {
            size_t used = 0;
            if (fov) {
                info.viewAngle = std::stof(*fov, &used);
                if (used != fov->size()) throw std::invalid_argument("fov");
            }
            if (index) {
                info.iViewIndex = std::stoi(*index, &used);
                if (used != index->size()) throw std::invalid_argument("index");
            }
            if (bits) {
                info.iChangeBits = static_cast<int>(std::stoul(*bits, &used, 0));
                if (used != bits->size()) throw std::invalid_argument("bits");
            }
        } catch (const std::exception&) {
            std::cerr << "krviews: --fov takes a number, --index and --bits whole numbers\n";
            return false;
        }
        return true;
    }
};

// Everything the command line said.
struct Args {
    std::string command;
    std::string hive, name, newName, direction;
    std::vector<std::string> names;
    RecordOptions addOpts, editOpts;
    bool clearDefault = false, defaultNamed = false;
    std::string file, fileType;
    std::string model, output, size = "640x480";
    std::vector<std::string> viewNames;
    int modelView = 0;
    std::vector<std::string> saveNames; // save --name
    bool sample = false;
    EarlyRead* read = nullptr; // render and sheet: the model, read while the module starts
};

// The commands with their options, filling `a`; `defaultName` is the
// default command's NAME, which --clear excludes.
void describeCommands(CLI::App& app, Args& a, CLI::Option*& defaultName);

} // namespace krviews
