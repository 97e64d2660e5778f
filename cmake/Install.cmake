# Installing the viewer, its tools and the module into any prefix, and the
# Debian package CPack makes of them.
#
# Layout: the programs in bin/; the platform's libraries, the model reader,
# the view module and its resource module in one private folder,
# lib/zul/ (each finds the others there through an $ORIGIN-relative RPATH,
# so nothing points at the build tree); the desktop entry, MIME types,
# thumbnailer, icons and man pages under share/.
# (ZUL_PRIVATE_LIBDIR and ZUL_PRIVATE_FROM_BIN are set in the top-level
# CMakeLists.txt.)

set(zul_programs zulview krviews zulreg zulview-thumbnailer)
set(zul_private zul_registry zul_trace zul_runtime zul_scene zulreadmodel KRAdvancedViews
  KRAdvancedViews_res)
set_target_properties(${zul_programs} PROPERTIES INSTALL_RPATH "$ORIGIN/${ZUL_PRIVATE_FROM_BIN}")
set_target_properties(${zul_private} PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS ${zul_programs} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS zul_registry zul_trace zul_runtime zul_scene KRAdvancedViews KRAdvancedViews_res
  LIBRARY DESTINATION ${ZUL_PRIVATE_LIBDIR})
install(TARGETS zulreadmodel RUNTIME DESTINATION ${ZUL_PRIVATE_LIBDIR})

# The desktop: the viewer in the menu, the file types it opens, thumbnails.
set(packaging ${PROJECT_SOURCE_DIR}/packaging)
install(FILES ${packaging}/zulview.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${packaging}/zulview-mime.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages
  RENAME zulview.xml)
install(FILES ${packaging}/zulview.thumbnailer DESTINATION ${CMAKE_INSTALL_DATADIR}/thumbnailers)
install(FILES ${packaging}/zulview.svg
  DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)

# The icon's PNG sizes, drawn from the SVG at build time.
add_executable(render-icon ${packaging}/RenderIcon.cpp)
target_link_libraries(render-icon PRIVATE Qt5::Gui Qt5::Svg krav_warnings)
set(zul_icon_sizes 16 24 32 48 64 128 256)
set(zul_icons)
foreach(size ${zul_icon_sizes})
  list(APPEND zul_icons ${CMAKE_BINARY_DIR}/icons/${size}x${size}/apps/zulview.png)
endforeach()
add_custom_command(OUTPUT ${zul_icons}
  # (Qt's offscreen platform keeps its screen to the end: not a leak of ours
  # for a sanitized build to stop on.)
  COMMAND ${CMAKE_COMMAND} -E env ASAN_OPTIONS=detect_leaks=0 $<TARGET_FILE:render-icon>
          ${packaging}/zulview.svg ${CMAKE_BINARY_DIR}/icons ${zul_icon_sizes}
  DEPENDS render-icon ${packaging}/zulview.svg VERBATIM)
add_custom_target(zul_icons ALL DEPENDS ${zul_icons})
install(DIRECTORY ${CMAKE_BINARY_DIR}/icons/ DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor)

# Man pages, with the version filled in.
foreach(page zulview krviews zulreg zulview-thumbnailer)
  configure_file(${packaging}/man/${page}.1 ${CMAKE_BINARY_DIR}/man/${page}.1 @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/man/${page}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()

# The Debian package: dependencies computed from the binaries (the private
# folder's libraries are ours, not another package's), plus Xvfb, which the
# thumbnailer starts when there is no display. Debian's triggers refresh the
# desktop, MIME and icon caches; the module is registered per user at the
# first run, so no maintainer script is needed.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zulview)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "ZUL developers <zul@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "CAD and mesh model viewer with named camera views")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
  "CAD and mesh model viewer with named camera views\n"
  " zulview shows STEP, IGES, STL, OBJ, PLY, glTF, 3MF, COLLADA, FBX, OFF, 3DS,\n"
  " DXF, VRML and VTK files, and keeps named camera views per user: create,\n"
  " edit, reorder and apply them, align to the axes and isometric directions,\n"
  " save them with a model or to ParaView's camera files. krviews and zulreg\n"
  " work on the views and the registry from the command line; a thumbnailer\n"
  " gives file managers pictures of models.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  ${CMAKE_BINARY_DIR}/bin)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "xvfb")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
