# Stands in for the build system's own, as far as the recipes below packaging/openwrt use it.
INCLUDE_DIR:=$(TOPDIR)/include
INSTALL_DIR:=install -d -m0755
INSTALL_BIN:=install -m0755
INSTALL_DATA:=install -m0644
