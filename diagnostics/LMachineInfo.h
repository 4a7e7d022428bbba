// LMachineInfo.h: the processor's brand and the display controllers, for
// bug and crash reports.
//
// On Linux the brand is the "model name" of /proc/cpuinfo; the display
// controllers are the PCI devices of class 0x03 under /sys/bus/pci/devices,
// in address order, named from the pci.ids database when a copy is
// installed, else "<vendor id>:<device id>" in hexadecimal.
//
// Thread safety: the functions keep no state.
#ifndef HARLUNE_DIAGNOSTICS_LMACHINEINFO_H
#define HARLUNE_DIAGNOSTICS_LMACHINEINFO_H

#include "diagnostics/LStringList.h"

// Empties szOut (at least 260 bytes) and fills it with the brand, at most
// 259 characters; empty when unknown.
void LMachineGetCPUDescription(char* szOut);

// Replaces the list's contents with the display controllers' names.
void LMachineGetGPUDescriptions(LStringList& lNames);

// The same two reads from other places, for tests: the brand from text laid
// out as /proc/cpuinfo, the controllers from a folder laid out as
// /sys/bus/pci/devices and an optional pci.ids file (null: none).
void LMachineReadCPUDescription(const char* szCpuinfo, char* szOut);
void LMachineReadGPUDescriptions(const char* szPciFolder, const char* szPciIds, LStringList& lNames);

#endif
