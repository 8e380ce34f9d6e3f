# OpenWrt stand-in: see openwrt-stub.mk
