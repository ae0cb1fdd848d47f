// Icon resources of the sample plug-ins (eKELT_LST_ICON), shared by sample_plugin.rc and the
// descriptions in sample_modules.cpp, so only #define lines. Each module carries the icon of its own
// element; the Biometrics module also carries those of its group's members.
#ifndef VX_SAMPLE_ICONS_H
#define VX_SAMPLE_ICONS_H

#define VX_SAMPLE_ICON_ELEMENT  101
#define VX_SAMPLE_ICON_FACE     102
#define VX_SAMPLE_ICON_VOICE    103

#endif  // VX_SAMPLE_ICONS_H
