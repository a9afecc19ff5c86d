# Stands in for the build system's own: of a package, its fields and its install section. The caller says PKG_BUILD_DIR,
# PKG_INSTALL_DIR and DESTINATION.
define FillPackage
  TITLE:=
  SECTION:=
  CATEGORY:=
  DEPENDS:=
  $(eval $(Package/$(1)))
  $(if $(and $(TITLE),$(SECTION),$(CATEGORY),$(PKG_VERSION),$(Package/$(1)/install)),,$(error $(1) lacks an obligatory field))
  $$(info $(1) $(PKG_VERSION)-$(PKG_RELEASE) DEPENDS $(DEPENDS))
endef

define BuildPackage
$(call FillPackage,$(1))
install: install-$(1)
install-$(1):
	$(call Package/$(1)/install,$(DESTINATION)/$(1))
endef

prepare:
	$(Build/Prepare)
