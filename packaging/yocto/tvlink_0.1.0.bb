# SPDX-License-Identifier: MIT
SUMMARY = "Service that makes a television known to phones and carries out their requests"
DESCRIPTION = "A library that runs inside of a television's host application. Phones and tablets on the same \
network find the television and drive it; each of their requests becomes one call through the host's table of \
functions."
HOMEPAGE = "https://tvlink.example/"
SECTION = "libs"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=a5a3c03dda6143c9d342ffc778312a4a"

# The checksum of the archive, SRC_URI[sha256sum], is known when a release is made; a build from a source tree
# (devtool modify, externalsrc) needs none.
SRC_URI = "https://tvlink.example/releases/${BP}.tar.gz"

inherit cmake pkgconfig

EXTRA_OECMAKE = "-DBUILD_TESTING=OFF -DTVLINK_BENCH=OFF -DTVLINK_TOOLS=OFF"

# tvlink-ctl and tvlink-sim.
PACKAGECONFIG ??= ""
PACKAGECONFIG[tools] = "-DTVLINK_CTL=ON -DTVLINK_SIM=ON,-DTVLINK_CTL=OFF -DTVLINK_SIM=OFF,cli11 nlohmann-json expat zlib pango cairo libpng fontconfig"

PACKAGES =+ "${PN}-tools"
FILES:${PN}-tools = "${bindir}/tvlink-ctl ${bindir}/tvlink-sim ${datadir}/tvlink"
RDEPENDS:${PN}-tools = "ttf-dejavu-sans"
