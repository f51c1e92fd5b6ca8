# What is installed, and where: the component "runtime" is what a device or an operator needs, "lab" what engineers have
# besides. scripts/build-packages and scripts/package-windows make packages of it.
if(WIN32)
    # All files lie beside the programs.
    set(CMAKE_INSTALL_BINDIR .)
    set(CMAKE_INSTALL_DOCDIR .)
endif()
include(GNUInstallDirs)
set(completions ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

install(TARGETS vellum vellum-report RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(TARGETS vellum-lab RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT lab)
if(NOT WIN32)
    install(FILES docs/vellum.1 docs/vellum-report.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
    install(FILES docs/vellum-lab.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT lab)
    install(FILES ${CMAKE_BINARY_DIR}/packaging/vellum DESTINATION ${completions} COMPONENT runtime)
    # A shell looks for a file with the name of the program.
    foreach(program vellum-report vellum-lab)
        file(CREATE_LINK vellum ${CMAKE_BINARY_DIR}/packaging/${program} SYMBOLIC)
    endforeach()
    install(FILES ${CMAKE_BINARY_DIR}/packaging/vellum-report DESTINATION ${completions} COMPONENT runtime)
    install(FILES ${CMAKE_BINARY_DIR}/packaging/vellum-lab DESTINATION ${completions} COMPONENT lab)
endif()
install(FILES README.md CHANGELOG.md THIRD_PARTY.md packaging/kxl.ini DESTINATION ${CMAKE_INSTALL_DOCDIR}
    COMPONENT runtime)
# Under the paths by which what is reported names them; what was measured is for who builds.
file(GLOB documents CONFIGURE_DEPENDS docs/*.md docs/*.json docs/*.png)
list(FILTER documents EXCLUDE REGEX "/performance\\.md$")
install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT runtime)
# Where the documents refer to it, without what a playbook that was tried here has left.
install(DIRECTORY deploy/ansible deploy/prometheus DESTINATION ${CMAKE_INSTALL_DOCDIR}/deploy COMPONENT runtime
    PATTERN __pycache__ EXCLUDE)
install(PROGRAMS deploy/parallel/verify-recordings DESTINATION ${CMAKE_INSTALL_DOCDIR}/deploy/parallel
    COMPONENT runtime)

# install_licence(NAME FILE): one of the texts that THIRD_PARTY.md names.
function(install_licence name file)
    get_filename_component(file ${file} REALPATH)
    if(EXISTS ${file})
        install(FILES ${file} DESTINATION ${CMAKE_INSTALL_DOCDIR}/licences RENAME ${name}.txt COMPONENT licences)
    else()
        message(WARNING "The packages will lack the licence of ${name}, as there is no ${file}")
    endif()
endfunction()
if(WIN32)
    set(licensed gcc-mingw-w64-x86-64-posix-runtime mingw-w64-x86-64-dev nlohmann-json3-dev rapidjson-dev)
    foreach(name openssl argtable2 libinih sqlite3)
        install_licence(${name} $ENV{VELLUM_WINDOWS_DEPS}/licences/${name}.txt)
    endforeach()
    # The one that another of the texts refers to, and that this system does not bring along.
    install_licence(GPL-3 /usr/share/common-licenses/GPL-3)
else()
    set(licensed libargtable2-dev libinih-dev libssl-dev libsqlite3-dev libstdc++6 libtss2-dev nlohmann-json3-dev
        rapidjson-dev)
endif()
foreach(name ${licensed})
    install_licence(${name} /usr/share/doc/${name}/copyright)
endforeach()
