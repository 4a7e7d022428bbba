/*
 * sys/qos.h: the quality-of-service classes that name the global dispatch
 * queues. Header-only; no state.
 *
 * On Linux the classes only select a global queue and its label: every class
 * is served by the same worker pool at the same scheduling priority.
 */
#ifndef HARLUNE_COMPAT_SYS_QOS_H
#define HARLUNE_COMPAT_SYS_QOS_H

typedef unsigned int qos_class_t;

enum {
  QOS_CLASS_USER_INTERACTIVE = 0x21,
  QOS_CLASS_USER_INITIATED = 0x19,
  QOS_CLASS_DEFAULT = 0x15,
  QOS_CLASS_UTILITY = 0x11,
  QOS_CLASS_BACKGROUND = 0x09,
  QOS_CLASS_UNSPECIFIED = 0x00
};

#define QOS_MIN_RELATIVE_PRIORITY (-15)

#endif
