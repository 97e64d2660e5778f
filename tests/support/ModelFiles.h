// What the model-reading tests share: where Debian's sample models are,
// and a fixture with a scratch folder to write model files into (one
// fixture for the suite, whichever file its tests are in).
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "zul/scene/ModelReader.h"

namespace fs = std::filesystem;
inline const fs::path kOcctData = "/usr/share/opencascade/data";
inline const fs::path kAssimpModels = "/usr/share/assimp/models";

class ModelFormats : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("zul-formats-" + std::to_string(::getpid()));
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    std::string write(const std::string& name, const std::string& bytes) {
        const std::string path = (dir_ / name).string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    fs::path dir_;
};

inline void boundsOf(const zul::scene::ModelPart& part, double b[6]) {
    part.geometry->GetBounds(b);
}
