# OpenWrt stand-in: see openwrt-stub.mk
include $(TOPDIR)/openwrt-stub.mk
