# Stand-in for the parts of an OpenWrt build tree that a package Makefile includes
# (rules.mk, package.mk, cmake.mk), enough to run the package's own definitions outside one:
#   make -f <package Makefile> TOPDIR=<dir of this file> PKG_INSTALL_DIR=<staged install> \
#        IPKG_ROOT=<out> check
# "check" runs Package/<name>/install into IPKG_ROOT and writes the package's metadata to
# IPKG_ROOT.meta (name, version, depends, conffiles), which the packaging check compares.
INCLUDE_DIR := $(TOPDIR)
INSTALL_DIR := install -d -m0755
INSTALL_BIN := install -m0755
INSTALL_DATA := install -m0644
INSTALL_CONF := install -m0600
CP := cp -fpR
PKG_BUILD_DIR ?= $(IPKG_ROOT).build

define BuildPackage
$(eval $(Package/$(1)))
check:
	rm -rf $(IPKG_ROOT) && mkdir -p $(IPKG_ROOT)
	$(call Package/$(1)/install,$(IPKG_ROOT))
	printf 'name=%s\nversion=%s\ndepends=%s\nconffiles=%s\ncmake_mk=%s\n' \
	  '$(PKG_NAME)' '$(PKG_VERSION)' '$(strip $(DEPENDS))' '$(strip $(Package/$(1)/conffiles))' \
	  '$(PLUG_STUB_CMAKE_MK)' > $(IPKG_ROOT).meta
endef
