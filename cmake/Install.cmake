# Where everything goes when it is installed. Each install() names the Debian package that it is part of as its COMPONENT:
#   tasklane-cli      the command line, the picture decoder, the modules of delivery; no Qt
#   tasklane          the sheet, and what a desktop needs to offer it
#   webext-tasklane   the browser extension
# scripts/package makes these packages; debian/control says what they depend on.
# All places are relative to the prefix: `cmake --install build/release --prefix PREFIX [--component tasklane-cli]`.
include(GNUInstallDirs)
set(TASKLANE_INSTALLED_BUNDLE lib/tasklane/Tasklane.app)
set(TASKLANE_INSTALLED_EXTENSION ${TASKLANE_INSTALLED_BUNDLE}/PlugIns/Share.appex)

# tasklane_install_configured(TEMPLATE DESTINATION COMPONENT)
#
# Installs a file that names installed places, where other programs look for it: the template's name without ".in".
# Its @PREFIX@, @BUNDLE@ and @PROJECT_VERSION@ are filled in at the time of the installation, when the prefix is known. A destination
# below "etc" is /etc for the prefix /usr, as GNUInstallDirs has it.
function(tasklane_install_configured template destination component)
  get_filename_component(name ${template} NAME_WLE)
  set(filled ${CMAKE_CURRENT_BINARY_DIR}/installed/${component}/${destination}/${name})
  install(CODE "
    set(PREFIX \${CMAKE_INSTALL_PREFIX})
    set(BUNDLE \${PREFIX}/${TASKLANE_INSTALLED_BUNDLE})
    set(PROJECT_VERSION ${PROJECT_VERSION})
    configure_file(${CMAKE_CURRENT_SOURCE_DIR}/${template} ${filled} @ONLY)
    set(root \${PREFIX})
    if(PREFIX STREQUAL \"/usr\" AND \"${destination}\" MATCHES \"^etc/\")
      set(root \"\")
    endif()
    file(INSTALL ${filled} DESTINATION \${root}/${destination})" COMPONENT ${component})
endfunction()

# tasklane_install_link(LINK TARGET COMPONENT): a symbolic link below the prefix.
function(tasklane_install_link link target component)
  get_filename_component(folder ${link} DIRECTORY)
  install(CODE "
    set(place \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${folder})
    file(MAKE_DIRECTORY \${place})
    file(CREATE_LINK ${target} \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${link} SYMBOLIC)" COMPONENT ${component})
endfunction()
