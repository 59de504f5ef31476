# What `cmake --install` installs, and where: the file system hierarchy as GNUInstallDirs has it.
# The libraries, the demonstration, the tests and the benchmarks are the project's own business.

include(GNUInstallDirs)

install(TARGETS quorvel quorvel-cli RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")

set(packaging "${PROJECT_SOURCE_DIR}/packaging")
set(docs "${PROJECT_SOURCE_DIR}/docs")

install(FILES "${packaging}/quorvel.desktop" DESTINATION "${CMAKE_INSTALL_DATADIR}/applications")
install(FILES "${packaging}/example.quorvel.quorvel.metainfo.xml"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo")

# Rendered by scripts/render-icons.
install(DIRECTORY "${packaging}/icons/hicolor" DESTINATION "${CMAKE_INSTALL_DATADIR}/icons")
install(FILES "${PROJECT_SOURCE_DIR}/icons/svg/app-icon.svg"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps" RENAME quorvel.svg)

install(FILES "${docs}/quorvel.1" "${docs}/quorvel-cli.1"
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
# bash-completion looks for a file named after the command.
install(FILES "${packaging}/quorvel-cli.bash"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" RENAME quorvel-cli)
# Zsh looks in this folder everywhere, but Debian keeps it for what is not packaged.
set(QUORVEL_ZSH_COMPLETIONS "${CMAKE_INSTALL_DATADIR}/zsh/site-functions" CACHE STRING
    "Where the completion for zsh is installed")
install(FILES "${packaging}/quorvel-cli.zsh"
    DESTINATION "${QUORVEL_ZSH_COMPLETIONS}" RENAME _quorvel-cli)
install(FILES "${packaging}/quorvel-cli.fish"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")

install(FILES
    "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
    "${PROJECT_SOURCE_DIR}/LICENSE"
    "${docs}/user-guide.md" "${docs}/accuracy.md" "${docs}/scale.md" "${docs}/store.md"
    "${docs}/quorvel-cli.schema.json"
    DESTINATION "${CMAKE_INSTALL_DOCDIR}")
# What the guide shows.
install(FILES "${docs}/images/dialog-menu.png" DESTINATION "${CMAKE_INSTALL_DOCDIR}/images")

# A search on several machines; the scripts find each other by their places.
set(cluster "${PROJECT_SOURCE_DIR}/cluster")
set(QUORVEL_CLUSTER_DIR "${CMAKE_INSTALL_DATADIR}/quorvel/cluster")
install(FILES "${cluster}/README.md" "${cluster}/submission.sh" DESTINATION "${QUORVEL_CLUSTER_DIR}")
install(PROGRAMS "${cluster}/step" DESTINATION "${QUORVEL_CLUSTER_DIR}")
install(PROGRAMS "${cluster}/slurm/submit" DESTINATION "${QUORVEL_CLUSTER_DIR}/slurm")
install(PROGRAMS "${cluster}/parallel/run" DESTINATION "${QUORVEL_CLUSTER_DIR}/parallel")
