# What "cmake --install" puts on a box. Programs go where the prefix says; all else to where the box's daemons look for
# it and the code expects it, whatever the prefix.
include(GNUInstallDirs)

set(packaging "${PROJECT_SOURCE_DIR}/packaging")

function(vyrel_install_unit name)
    configure_file("${packaging}/systemd/${name}.in" "${PROJECT_BINARY_DIR}/systemd/${name}" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/systemd/${name}" DESTINATION /usr/lib/systemd/system)
endfunction()

install(TARGETS vyrel-lite)
install(FILES docs/man/vyrel-lite.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
install(FILES docs/man/vyrel-settings-keys.7 DESTINATION ${CMAKE_INSTALL_MANDIR}/man7)
vyrel_install_unit(vyrel-lite.service)
install(FILES
    "${PROJECT_SOURCE_DIR}/data/dbus-1/system.d/org.vantor.platform.conf"
    "${PROJECT_SOURCE_DIR}/data/dbus-1/system.d/org.vantor.vyrel.lite.conf"
    DESTINATION /usr/share/dbus-1/system.d)
install(FILES "${packaging}/systemd/sysusers.conf" DESTINATION /usr/lib/sysusers.d RENAME vyrel-lite.conf)
install(FILES "${packaging}/systemd/tmpfiles.conf" DESTINATION /usr/lib/tmpfiles.d RENAME vyrel-lite.conf)
install(FILES "${packaging}/systemd/logind.conf"
    DESTINATION /usr/lib/systemd/logind.conf.d RENAME 50-vyrel-lite.conf)
install(FILES "${packaging}/udev/70-vyrel-lite.rules" DESTINATION /usr/lib/udev/rules.d)
install(FILES "${packaging}/polkit/50-vyrel-lite.rules" DESTINATION /usr/share/polkit-1/rules.d)
install(FILES "${packaging}/hooks/README" DESTINATION /usr/lib/vyrel-lite/hooks)
install(DIRECTORY DESTINATION /etc/vyrel-lite/hooks)
install(DIRECTORY DESTINATION /etc/vyrel-lite/features.d)
install(DIRECTORY DESTINATION /usr/share/vyrel-lite)
install(FILES docs/linux.md docs/remote-protocol.md docs/settings.md LICENSE DESTINATION /usr/share/doc/vyrel-lite)
install(DIRECTORY data/dbus-1/interfaces DESTINATION /usr/share/doc/vyrel-lite)

# The settings, for siblings: what they link and what they include.
install(TARGETS vyrel_settings_shared)
install(FILES platform/include/vconf.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vyrel-lite)
configure_file("${packaging}/vyrel-settings.pc.in" "${PROJECT_BINARY_DIR}/vyrel-settings.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/vyrel-settings.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(VYREL_TOOLS)
    install(TARGETS vyrel-settings vyrel-ctl vyrel-companion)
    vyrel_install_unit(vyrel-companion.service)
    install(FILES "${packaging}/companion.conf" DESTINATION /etc/vyrel-lite)
    install(FILES docs/man/vyrel-ctl.1 docs/man/vyrel-settings.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES docs/man/vyrel-companion.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
    foreach(program vyrel-ctl vyrel-companion vyrel-settings)
        install(FILES "${packaging}/completion/${program}" DESTINATION /usr/share/bash-completion/completions)
    endforeach()
    install(FILES "${PROJECT_SOURCE_DIR}/data/dbus-1/system.d/com.quorix.tv.bt.connectionmanager.conf"
        DESTINATION /usr/share/dbus-1/system.d)
endif()
