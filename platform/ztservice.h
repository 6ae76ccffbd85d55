/*
 * ztservice.h - contract of the storage management service.
 *
 * Defines what a client must know about the service itself: the types of its
 * objects, the types of its disk groups, its methods and the statuses they
 * return. The functions that find objects and call methods are in ztbus3.h.
 */
#ifndef ZTSERVICE_H
#define ZTSERVICE_H

#include "ztbus3.h"

/* ------------------------------------------------------------ object types */

/* Type names, as DbGetObjects, queries and ObGetObjectType use them. */
#define ZTTYPE_DISK_GROUP "tamo_ztvm_diskgroup"
#define ZTTYPE_VOLUME "tamo_ztvm_volume"
#define ZTTYPE_DISK "tamo_ztvm_disk"
#define ZTTYPE_PLEX "tamo_ztvm_plex"       /* one copy of a volume's data */
#define ZTTYPE_SUBDISK "tamo_ztvm_subdisk" /* the part of a disk that a plex uses */
#define ZTTYPE_FILE_SYSTEM "tamo_fs_nt"    /* child of the volume it is on */

/* The one object with the state of this node's cluster volume manager. */
#define ZTTYPE_MISC "tamo_ztvm_misc"

/* The one object that stands for the service; the target of most methods. */
#define ZTTYPE_CLUSTER_SERVICE "solvane_cluster_service"

/* -------------------------------------------------------- disk-group types */

/* Values of a disk group's property "LDM DG TYPE". The service has other types,
 * with a meaning that is private to it; clients distinguish only these. Name
 * lists and lookups leave out groups of type 0 and type 7. */
#define ZTDGTYPE_EXCLUDED_0 0u
#define ZTDGTYPE_CLUSTER 2u /* a cluster disk group */
#define ZTDGTYPE_EXCLUDED_7 7u
#define ZTDGTYPE_CLUSTER_SHARED 8u /* a cluster-shared disk group */

/* ----------------------------------------------------------------- methods */

/* Interfaces: PrCallDispatch takes a method as an interface id, a major and a
 * minor number. */
#ifdef __cplusplus
#define ZTSERVICE_INTERFACE inline constexpr GUID
#else
#define ZTSERVICE_INTERFACE static const GUID
#endif
ZTSERVICE_INTERFACE zt_volume_manager_interface = {
    0x61678C9A, 0x1DD2, 0x11B2, {0x96, 0x23, 0x08, 0x00, 0x20, 0x9E, 0xAD, 0x9C}};
ZTSERVICE_INTERFACE zt_cluster_service_interface = {
    0x375EC58D, 0x475E, 0x4658, {0x3B, 0xCD, 0x61, 0xC7, 0x48, 0x3A, 0x4F, 0xC6}};
ZTSERVICE_INTERFACE zt_mount_manager_interface = {
    0x2F0EAFCD, 0x7B86, 0x4F9B, {0xBD, 0x98, 0xD6, 0x1C, 0xE4, 0x21, 0x1F, 0x8F}};
#undef ZTSERVICE_INTERFACE

/* Major number of every method below. */
#define ZTMETHOD_MAJOR 0u

/* Minor numbers. Unless a comment names another target, a method is called on
 * the object of type ZTTYPE_CLUSTER_SERVICE. The number of UPDATE_MOUNTPATH is
 * correct, though far from those of the other MISCOP methods. */

/* of zt_volume_manager_interface */
#define ZTMETHOD_DGOP_DEPORT 2001u              /* on the group: deports it */
#define ZTMETHOD_DGOP_IMPORT 2003u              /* imports a group; also on the group itself */
#define ZTMETHOD_DGOP_SETFASTFAILOVERFLAG 2027u /* on the group: stores its fast-failover flag */
#define ZTMETHOD_DGOP_CLUSTERSERVICESTATE 2028u /* stores the state of the cluster service */
#define ZTMETHOD_MISCOP_UPDATE_MOUNTPATH 3041u  /* on the volume: refreshes its mount path */
#define ZTMETHOD_MISCOP_PNP_RESCAN 6054u        /* rescans the disks */
#define ZTMETHOD_MISCOP_STARTNODE 6058u         /* starts the cluster volume manager */
#define ZTMETHOD_MISCOP_STOPNODE 6059u          /* stops it */
#define ZTMETHOD_MISCOP_GETNODESTATE 6060u      /* returns its state */
#define ZTMETHOD_MISCOP_VOLUMEONLINE 6063u      /* brings a volume online */
#define ZTMETHOD_MISCOP_VOLUMEOFFLINE 6064u     /* takes a volume offline */

/* of zt_cluster_service_interface */
#define ZTMETHOD_CLUSSVCOP_GETDGGUID 1u      /* returns the GUID of the group with a name */
#define ZTMETHOD_CLUSSVCOP_ARBITRATEDG 2u    /* reserves a group for this node */
#define ZTMETHOD_CLUSSVCOP_OFFLINEDG 4u      /* gives up this node's reservation of a group */
#define ZTMETHOD_CLUSSVCOP_GETDGSTATUS 5u    /* returns whether this node has a group reserved */
#define ZTMETHOD_CLUSSVCOP_GETVOLUMEGUID 11u /* returns the GUID of a group's volume */
#define ZTMETHOD_CLUSSVCOP_DISKAVAIB 13u     /* returns how many of a group's disks work */

/* of zt_mount_manager_interface */
#define ZTMETHOD_MNTOP_GET_ALL_MOUNTPOINTS 8006u /* on the volume: the folders it is mounted in */
#define ZTMETHOD_MNTOP_GET_DRIVE_LETTER 8007u    /* on the volume: its drive letter */

/* ---------------------------------------------------------------- statuses */

/* Statuses of the service's methods that clients know; the service has more,
 * and the bus adds those of ztbus3.h. The facility is 0x515 and bit 31 is set:
 * both are failures. The node or group is already in the state that the call
 * asks for, so a client that needs only that state may treat them as success. */
#define ZTERROR_NODE_ALREADY_STARTED 0xe5150047u /* STARTNODE: the node runs already */
#define ZTERROR_GROUP_ALREADY_ONLINE 0xe515007au /* IMPORT: the group is imported here already */

#endif
