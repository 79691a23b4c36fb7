# SPDX-License-Identifier: GPL-3.0-or-later
# Installing into the freedesktop places and building a Debian package with CPack.
include(GNUInstallDirs)

install(TARGETS kinloom-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# The GEDCOM grammars compiled into the engine travel with their licence and notices.
set(grammar_dir ${PROJECT_SOURCE_DIR}/KinloomKit/structure)
install(FILES ${grammar_dir}/gedcom7/LICENSE ${grammar_dir}/gedcom7/NOTICE
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/kinloom/gedcom7-grammar)
install(FILES ${grammar_dir}/gedcom551/NOTICE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/kinloom/gedcom551-grammar)
# Debian's machine-readable copyright file: Kinloom's licence and those of what the programs hold.
install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/kinloom)

install(FILES ${CMAKE_CURRENT_LIST_DIR}/kinloom-cli.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME kinloom-cli)
if(KINLOOM_BUILD_TESTS)
    add_test(NAME CompletionTest
        COMMAND ${CMAKE_CURRENT_LIST_DIR}/completion-test.sh ${CMAKE_CURRENT_LIST_DIR}/kinloom-cli.bash
            $<TARGET_FILE:kinloom-cli>)
endif()

# The manual pages are written in scdoc's plain format and compressed, as Debian ships them.
find_program(KINLOOM_SCDOC scdoc REQUIRED)
set(man_pages kinloom-cli)
if(KINLOOM_BUILD_APP)
    list(APPEND man_pages kinloom)
endif()
set(man_outputs)
foreach(page ${man_pages})
    configure_file(${PROJECT_SOURCE_DIR}/docs/${page}.1.scd ${CMAKE_BINARY_DIR}/man/${page}.1.scd @ONLY)
    set(man ${CMAKE_BINARY_DIR}/man/${page}.1.gz)
    add_custom_command(OUTPUT ${man}
        COMMAND sh -c "${KINLOOM_SCDOC} < ${page}.1.scd | gzip -9n > ${page}.1.gz"
        DEPENDS ${CMAKE_BINARY_DIR}/man/${page}.1.scd
        WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/man
        COMMENT "Writing the manual page ${page}(1)"
        VERBATIM)
    list(APPEND man_outputs ${man})
    install(FILES ${man} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()
add_custom_target(kinloom-man-pages ALL DEPENDS ${man_outputs})

if(KINLOOM_BUILD_APP)
    install(TARGETS kinloom RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    # The desktop entry, the metainfo and the icon share the app's id, which desktops match them by.
    set(app_id org.kinloom.Kinloom)
    install(FILES ${CMAKE_CURRENT_LIST_DIR}/${app_id}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
    install(FILES ${CMAKE_CURRENT_LIST_DIR}/${app_id}.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
    install(FILES ${CMAKE_CURRENT_LIST_DIR}/kinloom-mime.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages
        RENAME kinloom.xml)

    # The icon is also built into the programs, so the window has it when they run from the build folder.
    set_property(TARGET kinloom kinloom-screenshots PROPERTY AUTORCC ON)
    target_sources(kinloom PRIVATE ${PROJECT_SOURCE_DIR}/KinloomApp/resources/kinloom.qrc)
    target_sources(kinloom-screenshots PRIVATE ${PROJECT_SOURCE_DIR}/KinloomApp/resources/kinloom.qrc)

    # The PNG sizes are drawn from the SVGs at build time, so only the SVGs are kept in the repository.
    # Below 32 pixels the six-node tree blurs into a smudge, so the small sizes have a simpler drawing.
    find_program(KINLOOM_RSVG_CONVERT rsvg-convert REQUIRED)
    set(icons_dir ${CMAKE_CURRENT_LIST_DIR}/icons)
    install(FILES ${icons_dir}/kinloom.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps
        RENAME ${app_id}.svg)
    set(icon_pngs)
    foreach(size 16 24 32 48 64 128 256)
        if(size LESS 32)
            set(source ${icons_dir}/kinloom-small.svg)
        else()
            set(source ${icons_dir}/kinloom.svg)
        endif()
        set(png ${CMAKE_BINARY_DIR}/icons/${size}x${size}/${app_id}.png)
        add_custom_command(OUTPUT ${png}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/icons/${size}x${size}
            COMMAND ${KINLOOM_RSVG_CONVERT} --width ${size} --height ${size} --output ${png} ${source}
            DEPENDS ${source}
            COMMENT "Drawing the ${size}x${size} application icon"
            VERBATIM)
        list(APPEND icon_pngs ${png})
        install(FILES ${png} DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps)
    endforeach()
    add_custom_target(kinloom-icons ALL DEPENDS ${icon_pngs})

    if(KINLOOM_BUILD_TESTS)
        add_test(NAME InstalledFilesTest
            COMMAND ${CMAKE_CURRENT_LIST_DIR}/installed-files-test.sh ${CMAKE_COMMAND} ${CMAKE_BINARY_DIR})
        set_tests_properties(InstalledFilesTest PROPERTIES TIMEOUT 120)
    endif()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kinloom)
set(CPACK_PACKAGE_VENDOR Kinloom)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Find and fix problems in family-tree files")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Kinloom project <developers@kinloom.org>")
set(CPACK_DEBIAN_PACKAGE_SECTION science)
# CPack puts the summary above this and indents it as a Debian description.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Kinloom tidies up family trees kept in GEDCOM files, as written by any
family-tree program. It finds likely duplicate people and families, impossible
dates, dates not written the standard way, place names spelled several ways,
missing details and broken links, previews every fix line by line, and saves a
cleaned copy beside a change log. It never writes over an existing file, and
nothing leaves the computer.

The package holds the desktop program kinloom and the command-line tool kinloom-cli.")
# The libraries come from the binaries; these are loaded at run time, so no linker sees them:
# the platform plugin that opens windows, SVG icons, the theme's icons and the PDF fonts.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "qt6-qpa-plugins, libqt6svg6, adwaita-icon-theme, fonts-urw-base35, fonts-dejavu-core")
include(CPack)
