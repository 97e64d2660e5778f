// modelload_probe MODEL...: loads each model into a scene exactly as zulview
// and krviews do (structure checks, then the reader in its helper process),
// without drawing. Prints "read" or the refusal for each; exits 0 when all
// were read, 1 otherwise. The mutation campaign (zzuf_models.sh) counts the
// runs of this program that end by a signal: there must be none.
#include <cstdio>

#include "zul/scene/Scene.h"

int main(int argc, char** argv) {
    int refused = 0;
    for (int i = 1; i < argc; ++i) {
        zul::scene::Scene scene;
        std::string why;
        if (scene.addFile(argv[i], why)) {
            std::printf("read %s\n", argv[i]);
        } else {
            std::printf("%s\n", why.c_str());
            ++refused;
        }
    }
    return refused ? 1 : 0;
}
