# The application bundle: its description, its signature, where it is installed. Included where the
# executable VelmoraViewerHost is declared.
set(VIEWER_SIGNING_IDENTITY "-" CACHE STRING "The certificate that signs the application; - is none")

set_target_properties(VelmoraViewerHost PROPERTIES
    MACOSX_BUNDLE TRUE
    MACOSX_BUNDLE_INFO_PLIST ${CMAKE_SOURCE_DIR}/packaging/macos/Info.plist.in
    MACOSX_BUNDLE_GUI_IDENTIFIER com.quilmer.velmora.viewer-host
    MACOSX_BUNDLE_BUNDLE_NAME "Velmora Viewer Host"
    MACOSX_BUNDLE_ICON_FILE VelmoraViewerHost.icns
    MACOSX_BUNDLE_BUNDLE_VERSION ${PROJECT_VERSION}
    MACOSX_BUNDLE_SHORT_VERSION_STRING ${PROJECT_VERSION})

set(icon ${CMAKE_SOURCE_DIR}/packaging/macos/VelmoraViewerHost.icns)
target_sources(VelmoraViewerHost PRIVATE ${icon})
set_source_files_properties(${icon} PROPERTIES MACOSX_PACKAGE_LOCATION Resources)

add_custom_command(TARGET VelmoraViewerHost POST_BUILD
    COMMAND codesign --force --options runtime --sign ${VIEWER_SIGNING_IDENTITY}
        $<TARGET_BUNDLE_DIR:VelmoraViewerHost>
    VERBATIM)
# The signature covers the description too, which is written when the build is configured: where it
# has changed, the application is linked again and with that signed again.
set_property(TARGET VelmoraViewerHost APPEND PROPERTY
    LINK_DEPENDS $<TARGET_BUNDLE_CONTENT_DIR:VelmoraViewerHost>/Info.plist)

install(TARGETS VelmoraViewerHost BUNDLE DESTINATION .)
