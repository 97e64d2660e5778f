// The host camera model with a call log and a fault switch, for tests: every
// call that changes the camera (or the view's events) is recorded, in order,
// and with `failWith` set each camera change fails with it and changes
// nothing.
#pragma once

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "zul/runtime/CameraModel.h"

namespace zul::test {

// The calls a test host received, in order.
struct CallLog {
    std::vector<std::string> calls;
    void record(const std::string& call) { calls.push_back(call); }
    // How many calls start with `prefix`.
    int count(const std::string& prefix) const {
        int n = 0;
        for (const auto& c : calls)
            n += c.rfind(prefix, 0) == 0;
        return n;
    }
};

class CRecordingViewer : public zul::runtime::CCameraModel, public CallLog {
public:
    using Model = zul::runtime::CCameraModel;
    HRESULT failWith = S_OK; // every camera change fails with this when set

    HRESULT STDMETHODCALLTYPE AdviseViewEvents(IHostViewEvents* e, DWORD* cookie) override {
        record("Advise");
        return Model::AdviseViewEvents(e, cookie);
    }
    HRESULT STDMETHODCALLTYPE UnadviseViewEvents(DWORD cookie) override {
        record("Unadvise");
        return Model::UnadviseViewEvents(cookie);
    }
    HRESULT STDMETHODCALLTYPE SetProjectionClass(REFCLSID cls) override {
        const HRESULT hr = Model::SetProjectionClass(cls);
        if (hr == S_OK)
            record(perspective ? "SetProjectionClass(persp)" : "SetProjectionClass(ortho)");
        return hr;
    }
    HRESULT STDMETHODCALLTYPE Redraw() override {
        record("Redraw");
        return Model::Redraw();
    }
    HRESULT STDMETHODCALLTYPE SetUpVector(float x, float y, float z) override {
        return _change("SetUpVector", [&] { return Model::SetUpVector(x, y, z); });
    }
    HRESULT STDMETHODCALLTYPE SetPosition(float x, float y, float z) override {
        return _change("SetPosition", [&] { return Model::SetPosition(x, y, z); });
    }
    HRESULT STDMETHODCALLTYPE SetTarget(float x, float y, float z) override {
        return _change("SetTarget", [&] { return Model::SetTarget(x, y, z); });
    }
    HRESULT STDMETHODCALLTYPE SetViewHeight(float h) override {
        return _change("SetViewHeight", [&] { return Model::SetViewHeight(h); });
    }
    HRESULT STDMETHODCALLTYPE SetFieldOfView(float degrees) override {
        const HRESULT hr = Model::SetFieldOfView(degrees);
        if (hr == S_OK) record("SetFieldOfView(" + std::to_string(int(std::lround(degrees))) + ")");
        return hr;
    }
    HRESULT STDMETHODCALLTYPE SetClippingMatrix(const float m[4]) override {
        record("SetClippingMatrix");
        return Model::SetClippingMatrix(m);
    }
    HRESULT STDMETHODCALLTYPE SetFocalDistance(float d) override {
        record("SetFocalDistance");
        return Model::SetFocalDistance(d);
    }
    HRESULT STDMETHODCALLTYPE RotateCamera(float ax, float ay, float az, float degrees) override {
        return _change("RotateCamera(" + fmt(ax) + "," + fmt(ay) + "," + fmt(az) + "," +
                           fmt(degrees) + ")",
                       [&] { return Model::RotateCamera(ax, ay, az, degrees); });
    }
    HRESULT STDMETHODCALLTYPE TranslateCamera(float dx, float dy, float dz) override {
        return _change("TranslateCamera(" + fmt(dx) + "," + fmt(dy) + "," + fmt(dz) + ")",
                       [&] { return Model::TranslateCamera(dx, dy, dz); });
    }

private:
    template <class F> HRESULT _change(const std::string& what, F apply) {
        if (failWith != S_OK) return failWith;
        record(what);
        return apply();
    }
    static std::string fmt(float v) {
        char buf[32];
        std::snprintf(buf, sizeof buf, "%g", v);
        return buf;
    }
};

} // namespace zul::test
