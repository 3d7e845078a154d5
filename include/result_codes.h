/* The library's result codes. 0 is success; every failure is one of these
 * positive codes. Functions that return a record return the negated code,
 * cast to the record's pointer type, when they fail: a value from -600200 to
 * -1 is an error, any other non-null value a record (vespin_is_error). */
#ifndef VESPIN_RESULT_CODES_H
#define VESPIN_RESULT_CODES_H

#include <stdint.h>

#define VESPIN_OK 0
#define VESPIN_ERR_MISSING_PARAM 100200      /* required parameter missing or of the wrong type */
#define VESPIN_ERR_INVALID_PARAM 100208      /* parameter with an invalid value */
#define VESPIN_ERR_INVALID_JSON 100209       /* not JSON, or a received document of the wrong shape */
#define VESPIN_ERR_INTERNAL 109999           /* a pattern or a system script failed */
#define VESPIN_ERR_TABLE_FULL 200201         /* a table reached its limit */
#define VESPIN_ERR_UNKNOWN_SN 300401         /* the serial number names no live mesh node */
#define VESPIN_ERR_NO_MEMORY 600000          /* out of memory, or no session or context */
#define VESPIN_ERR_FAILURE 600001            /* general failure */
#define VESPIN_ERR_SETTING 600002            /* reading or writing a platform setting failed */
#define VESPIN_ERR_MISSING_VALUE 600005      /* a stored record or lookup lacks a value */
#define VESPIN_ERR_BUSY 600008               /* a mesh node is being added already */
#define VESPIN_ERR_COMMAND 600011            /* an external command failed */
#define VESPIN_ERR_CHILD 600013              /* a child process could not be run */
#define VESPIN_ERR_NO_CHANGE 600100          /* nothing to do */
#define VESPIN_ERR_HTTP_PERFORM 600101       /* an HTTP request could not be performed */
#define VESPIN_ERR_HTTP_STATUS 600103        /* an HTTP request returned a failing status */
#define VESPIN_ERR_NOT_FOUND 600104          /* the addressed item does not exist */
#define VESPIN_ERR_EXISTS 600200             /* the item exists already */
#define VESPIN_ERR_TRANSPORT 600406          /* a message could not be sent or was not answered */
#define VESPIN_ERR_VPN_DISCONNECTED 600702   /* the VPN is not connected */
#define VESPIN_ERR_LEASE_TABLE 600705        /* the static-lease table could not be read, or a lease conflicts */
#define VESPIN_ERR_INVALID_IP 600706         /* an IP address is invalid or outside the LAN */
#define VESPIN_ERR_IP_IS_LAN 600707          /* an IP address equals the router's LAN address */
#define VESPIN_ERR_IP_CONFLICT 600708        /* an address conflicts with the WAN or is illegal */
#define VESPIN_ERR_OUTSIDE_POOL 600709       /* an address lies outside the DHCP pool */
#define VESPIN_ERR_PORTFW_FULL 600710        /* the port-forwarding table is full */
#define VESPIN_ERR_MAC_IS_WIFI 600711        /* a MAC equals one of the device's wireless addresses */

/* Nonzero when a value returned in place of a record is a negated code. */
static inline int vespin_is_error(const void *value) {
    intptr_t v = (intptr_t)value;
    return v >= -600200 && v <= -1;
}

/* The positive code carried by an error value (0 for a record). */
static inline int vespin_error_code(const void *value) {
    return vespin_is_error(value) ? (int)-(intptr_t)value : 0;
}

/* The negated code as a pointer of any record type. */
#define VESPIN_ERROR_PTR(type, code) ((type)(intptr_t)(-(code)))

#endif
