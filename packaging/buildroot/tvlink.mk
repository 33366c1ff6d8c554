# SPDX-License-Identifier: MIT
################################################################################
#
# tvlink
#
################################################################################

TVLINK_VERSION = 0.1.0
TVLINK_SITE = https://tvlink.example/releases
TVLINK_LICENSE = MIT
TVLINK_LICENSE_FILES = LICENSE
TVLINK_INSTALL_STAGING = YES
TVLINK_CONF_OPTS = -DTVLINK_TESTS=OFF -DTVLINK_BENCH=OFF -DTVLINK_TOOLS=OFF

ifeq ($(BR2_PACKAGE_TVLINK_TOOLS),y)
TVLINK_DEPENDENCIES += cairo cli11 expat fontconfig host-pkgconf json-for-modern-cpp libpng pango zlib
TVLINK_CONF_OPTS += \
	-DTVLINK_CTL=ON \
	-DTVLINK_SIM=ON
else
TVLINK_CONF_OPTS += -DTVLINK_CTL=OFF -DTVLINK_SIM=OFF
endif

$(eval $(cmake-package))
