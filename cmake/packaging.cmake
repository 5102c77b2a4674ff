# Install rules and the Debian package (cpack -G DEB).
#
# The package puts the programs in /usr/sbin and /usr/bin, the module and the
# platform libraries it needs in a private directory (<libdir>/lldpmib, found
# through a $ORIGIN-relative RUNPATH, so an unpacked tree runs as it is), the
# MIB files (LLDP-MIB, its 802.1 and 802.3 extensions, LLDP-V2-MIB) in net-snmp's MIB
# directory, the systemd unit, an snmpd.conf.d snippet and the man pages.
include(GNUInstallDirs)

set(LLDPMIB_PRIVATE_LIBDIR ${CMAKE_INSTALL_LIBDIR}/lldpmib)
set(LLDPMIB_LIBRARIES lldpmib lldpmib_ext snmp_agent kel_list kel_dt platform_sys lldp_client
    platform_fault)
set(LLDPMIB_MAINTAINER "lldpmib maintainers <maintainers@lldpmib.dev>" CACHE STRING
    "The package's Maintainer field and changelog signature")
set(LLDPMIB_VERSION 0.2.0)

# Man pages and the changelog go in gzip-compressed (-n: no name or time
# stamp, so the package is reproducible).
function(lldpmib_gzip source output)
  add_custom_command(OUTPUT ${output} COMMAND gzip -9nc ${source} > ${output}
                     DEPENDS ${source} VERBATIM)
endfunction()
set(_pkg ${PROJECT_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${_pkg})
set(CPACK_PACKAGE_VERSION ${LLDPMIB_VERSION})
configure_file(${PROJECT_SOURCE_DIR}/packaging/debian/changelog.in ${_pkg}/changelog @ONLY)
lldpmib_gzip(${_pkg}/changelog ${_pkg}/changelog.gz)
lldpmib_gzip(${PROJECT_SOURCE_DIR}/man/lldpmib-walk.1 ${_pkg}/lldpmib-walk.1.gz)
lldpmib_gzip(${PROJECT_SOURCE_DIR}/man/lldpmib-agentx.8 ${_pkg}/lldpmib-agentx.8.gz)
add_custom_target(lldpmib_package_docs ALL DEPENDS
                  ${_pkg}/changelog.gz ${_pkg}/lldpmib-walk.1.gz ${_pkg}/lldpmib-agentx.8.gz)
install(FILES ${_pkg}/changelog.gz ${PROJECT_SOURCE_DIR}/packaging/debian/copyright
        DESTINATION ${CMAKE_INSTALL_DOCDIR})

# Relative to each file's own directory: sbin/ and bin/ are siblings of lib/.
file(RELATIVE_PATH _lib_from_bin /x/${CMAKE_INSTALL_BINDIR} /x/${LLDPMIB_PRIVATE_LIBDIR})
file(RELATIVE_PATH _lib_from_sbin /x/${CMAKE_INSTALL_SBINDIR} /x/${LLDPMIB_PRIVATE_LIBDIR})
set_target_properties(${LLDPMIB_LIBRARIES} PROPERTIES INSTALL_RPATH "\$ORIGIN")
set_target_properties(lldpmib-walk PROPERTIES INSTALL_RPATH "\$ORIGIN/${_lib_from_bin}")

install(TARGETS lldpmib-walk RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS ${LLDPMIB_LIBRARIES} LIBRARY DESTINATION ${LLDPMIB_PRIVATE_LIBDIR})
install(FILES ${PROJECT_SOURCE_DIR}/mibs/LLDP-MIB.txt ${PROJECT_SOURCE_DIR}/mibs/LLDP-EXT-DOT1-MIB.txt
        ${PROJECT_SOURCE_DIR}/mibs/LLDP-EXT-DOT3-MIB.txt ${PROJECT_SOURCE_DIR}/mibs/LLDP-V2-MIB.txt DESTINATION ${CMAKE_INSTALL_DATADIR}/snmp/mibs)
install(FILES ${_pkg}/lldpmib-walk.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

if(LLDPMIB_BUILD_HOST)
  # The unit names the program where the package puts it.
  set(LLDPMIB_PACKAGE_PREFIX /usr)
  set(LLDPMIB_UNIT_SBINDIR ${LLDPMIB_PACKAGE_PREFIX}/${CMAKE_INSTALL_SBINDIR})
  configure_file(${PROJECT_SOURCE_DIR}/packaging/lldpmib-agentx.service.in
                 ${PROJECT_BINARY_DIR}/packaging/lldpmib-agentx.service @ONLY)
  set_target_properties(lldpmib-agentx PROPERTIES INSTALL_RPATH "\$ORIGIN/${_lib_from_sbin}")
  install(TARGETS lldpmib-agentx RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
  # The in-process module beside the libraries it loads (dlmod in snmpd.conf).
  set_target_properties(lldpmib_snmpd PROPERTIES INSTALL_RPATH "\$ORIGIN")
  install(TARGETS lldpmib_snmpd LIBRARY DESTINATION ${LLDPMIB_PRIVATE_LIBDIR})
  install(FILES ${PROJECT_BINARY_DIR}/packaging/lldpmib-agentx.service
          DESTINATION lib/systemd/system)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/lldpmib-agentx.snmpd.conf
          DESTINATION /etc/snmp/snmpd.conf.d RENAME lldpmib-agentx.conf)
  install(FILES ${_pkg}/lldpmib-agentx.8.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)

  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGE_NAME lldpmib)
  set(CPACK_PACKAGE_CONTACT ${LLDPMIB_MAINTAINER})
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "LLDP-MIB for net-snmp: lldpd's neighbours over SNMP")
  # Lines of at most 80 characters: dpkg shows the text as it is.
  string(CONCAT CPACK_PACKAGE_DESCRIPTION
      "lldpmib-agentx serves the LLDP-MIB (1.0.8802.1.1.2) as an AgentX subagent\n"
      "of snmpd: the local system, ports and management addresses, the neighbours\n"
      "lldpd has learnt, LLDP configuration and statistics, and lldpRemTablesChange\n"
      "notifications. It runs as an unprivileged, sandboxed system user.\n"
      "Includes lldpmib-walk, the MIB module files and a systemd unit.")
  set(CPACK_PACKAGING_INSTALL_PREFIX ${LLDPMIB_PACKAGE_PREFIX})
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION net)
  # Library dependencies from dpkg-shlibdeps (liblldpctl's brings lldpd, the
  # daemon itself); adduser for the maintainer scripts.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "adduser")
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "snmpd")
  set(CPACK_DEBIAN_PACKAGE_SUGGESTS "snmp")
  # The snippet under /etc is the administrator's to change.
  file(WRITE ${_pkg}/conffiles "/etc/snmp/snmpd.conf.d/lldpmib-agentx.conf\n")
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${_pkg}/conffiles
      ${PROJECT_SOURCE_DIR}/packaging/debian/postinst ${PROJECT_SOURCE_DIR}/packaging/debian/prerm
      ${PROJECT_SOURCE_DIR}/packaging/debian/postrm)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
  set(CPACK_STRIP_FILES ON)
  include(CPack)
endif()
