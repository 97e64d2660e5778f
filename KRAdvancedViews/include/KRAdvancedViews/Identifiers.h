// Identifiers the module is registered under. They never change between
// versions: hosts, installers and other plug-ins find the module by them.
#pragma once

#include "KRAdvancedViews/IAdvancedViewsModuleMgr.h"
#include "KRAdvancedViews/IViewManager.h"

// The self-test class (host's unit-test source category).
inline constexpr CLSID CLSID_AdvancedViewsTests =
    zul::com::makeGuid("8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0204");

// The module's type library, KRADVANCEDVIEWSLib.
inline constexpr GUID LIBID_KRADVANCEDVIEWSLib =
    zul::com::makeGuid("8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0001");

// The host's component categories: modules a host loads at start, and
// sources of self-tests.
inline constexpr GUID CATID_ZulLateLoadableSecondaryObject =
    zul::com::makeGuid("8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0601");
inline constexpr GUID CATID_KRUnitTestSources =
    zul::com::makeGuid("8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0602");

// Programmatic identifiers, versioned and version-independent.
inline constexpr const char* kProgIdAdvancedViewsModuleMgr =
    "KRAdvancedViews.AdvancedViewsModuleMgr";
inline constexpr const char* kProgIdViewManager = "KRAdvancedViews.ViewManager";
inline constexpr const char* kProgIdViewNavigator = "KRAdvancedViews.ViewNavigator";
inline constexpr const char* kProgIdAdvancedViewsTests = "KRAdvancedViews.AdvancedViewsTests";
