/* Mesh RPC: calls a method on another node of the mesh, named by its serial
 * number, and returns its response record. The target's address, RPC port
 * and protocol version come from the node table (mesh_maintainer.h); nodes at
 * version 1.2.0-rc.1 or newer are called with an nng req0 socket at
 * "tcp4://IP:PORT" (the request JSON sent with its terminating NUL), older
 * ones with one datagram (msghandle.h, mesh_call, without the NUL). */
#ifndef VESPIN_MESH_RPC_H
#define VESPIN_MESH_RPC_H

#include "request.h"
#include "response.h"
#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The reply a call reads: at most 1023 bytes of text (a longer reply is cut
 * and so reads as "Wrong response from node"). */
#define MESH_RPC_REPLY_SIZE 1024

/* Calls request->method on the node whose sn is given and returns a new
 * response record (never NULL; free it with vespin_response_free):
 *   - 300401 "Unknown sn" ("Invalid sn: %s" logged) when the sn names no
 *     valid entry of the node table;
 *   - 600406 without a message for every transport failure;
 *   - 600406 "Wrong response from node" when the reply is not a response;
 *   - else the remote's response, its error code passed through.
 * Only the low 8 bits of oneway count. A one-way call over nng does not wait
 * for a reply: it dials and sends without blocking (three sends 20 ms apart
 * while the connection is not up yet, then it counts as sent) and always
 * returns 600406 "Wrong response from node", which its callers only free;
 * its socket is deliberately left open, so that closing it cannot drop the
 * queued request before it has left.
 * Departure: over nng each of the three tries for the reply waits up to one
 * second and takes the reply as soon as it arrives, instead of one
 * non-blocking poll followed by a one-second sleep; the tries, their log
 * lines ("Fail to receive data after %d retries, errcode: %d(%s)", with nng's
 * "try again" error of a try that saw no reply, then "Fail to receive data
 * after %d retries"), the code and the bound of about three seconds stay. A
 * call that waits also gives its send three seconds at most. Over datagrams the call waits up to 3 x 4 seconds.
 * A datagram reply is read into a 2001-byte area and then cut to 1023 bytes,
 * so that the datagram layer never writes past the 1024-byte reply area. */
VESPIN_API vespin_response *mesh_rpc(const char *sn, vespin_request *request, int oneway);
/* Sends the request with mesh_rpc to every other valid node of the
 * topology (mesh_maintainer_network_top, in table order). One-way, every
 * response is dropped whatever it says; otherwise the first failing node
 * stops the walk with a response of its code and "Fail to mesh_rpc". A
 * topology that cannot be made logs "Fail to load network top" and returns
 * its code. On success: code 0 and the result {"status": true}. */
VESPIN_API vespin_response *notify_all_nodes(vespin_request *request, int oneway);

#ifdef __cplusplus
}
#endif

#endif
