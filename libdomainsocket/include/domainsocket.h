/*
 * Messages over UNIX-domain stream sockets: requests with one answer each, and plain receives for pushed events.
 *
 * Frames (every word unsigned 32-bit little-endian):
 *
 *     request: type, flag, expected answer length, payload length, then the payload
 *     answer:  type of the request, 0, 0, body length, then the body: return code and record
 *
 * Every request, whatever its flag, gets exactly one answer. A connection carries any number of requests, one after
 * another, answered in order. A payload and a body are at most SOCKET_LENGTH_LIMIT bytes.
 *
 * Every function may be called from any thread, goes on with the time that is left when a signal interrupts it, never
 * raises SIGPIPE and opens descriptors close-on-exec and above 0.
 */
#ifndef DOMAINSOCKET_H
#define DOMAINSOCKET_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    SOCKET_LENGTH_LIMIT = 1024 * 1024, /* bytes of a request's payload, of an answer's body (return code included) */
    SOCKET_TIME_LIMIT = 10,            /* seconds for one exchange, and for the rest of a frame that has begun */
};
#define SOCKET_LENGTH_LIMIT SOCKET_LENGTH_LIMIT /* for #ifdef */

/* Results of receiving. */
enum {
    SOCKET_ERROR = -1,   /* malformed, too long, incomplete for too long, or failed: the connection is of no more use */
    SOCKET_CLOSED = -2,  /* the peer has closed the connection */
    SOCKET_NOTHING = -5, /* nothing arrived within the time-out; the connection is as good as before */
};
#define SOCKET_NOTHING SOCKET_NOTHING

/* The fixed part of a request, in host byte order. */
struct SOCKET_Request {
    uint32_t type;
    uint32_t flag;
    uint32_t expected; /* bytes of the body that the requester has room for, return code included; 0 means 4 */
    uint32_t length;   /* bytes of the payload */
};

/*
 * Sends one request of `length` payload bytes (`payload` may be null where `length` is 0) to the service at `path` and
 * waits for its answer.
 *
 * Returns the body of the answer, as it came, in a buffer of at least max(expected, 4) bytes: the return code, then the
 * record, cut at that length and zero-filled beyond what came. The caller releases it with free().
 *
 * Requests carry secrets and answers are believed: only a service that began to listen as root or as this process's own
 * effective user is asked. To any other nothing is sent.
 *
 * Returns null where the service cannot be reached, is somebody else's, closes, answers another type, fewer than 4
 * bytes or more than SOCKET_LENGTH_LIMIT, or where connecting, sending and receiving together take more than
 * SOCKET_TIME_LIMIT seconds; also where `length` or `expected` is above SOCKET_LENGTH_LIMIT, `path` is too long, or
 * memory or descriptors run out.
 *
 * Each thread keeps its connection to a path open for its next request, and closes it when the thread ends or an
 * exchange fails; so a late answer is never taken for that of a later request. A connection that the service has closed
 * is replaced before anything is sent: no request is sent twice.
 */
void *SOCKET_SendMsgByType(const char *path, uint32_t type, uint32_t flag, const void *payload, uint32_t length,
                           uint32_t expected);

/*
 * Returns a descriptor that listens at `path`, accessible to its owner only, or -1 with errno set. A socket file on
 * which nobody answers is replaced; where somebody answers (EADDRINUSE), or the file is no socket (ENOTSOCK), this
 * fails. The caller removes the file in the end. (Two processes that set up one path in the same instant are not kept
 * apart.)
 */
int SOCKET_InitListenServer(const char *path);

/*
 * Waits for a client and returns its descriptor (above 0), to be closed by SOCKET_Close, or -1. Where descriptors or
 * memory have run out it fails after a tenth of a second, so that a caller may simply try again.
 */
int SOCKET_AcceptClient(int listener);

/*
 * One wait and one receive, without any framing: a server of pushed events that reads each client once gets what the
 * client's first write brought, so that a batch is to be sent in one write, of at most the reader's `capacity`. Returns
 * 0 with `*received` (1 to `capacity`) bytes in `buffer`, or SOCKET_NOTHING, SOCKET_CLOSED or SOCKET_ERROR with
 * `*received` 0. A negative time-out waits without limit.
 */
int SOCKET_Recv(int client, void *buffer, uint32_t capacity, int timeout_seconds, uint32_t *received);

/* Closes what SOCKET_InitListenServer or SOCKET_AcceptClient returned; a negative descriptor is left alone. */
void SOCKET_Close(int client);

/*
 * The service's side: receives one request into `request` and its payload into `payload`, which has room for `capacity`
 * bytes. Returns 0, or SOCKET_NOTHING when no request began within the time-out (a negative one waits without limit),
 * SOCKET_CLOSED when the peer closed between requests, SOCKET_ERROR when a request was cut short, not complete
 * SOCKET_TIME_LIMIT seconds after it began, or longer than `capacity` or SOCKET_LENGTH_LIMIT. After the last two the
 * client is to be closed. Bytes of a next request are left for the next call.
 */
int SOCKET_RecvRequest(int client, struct SOCKET_Request *request, void *payload, uint32_t capacity,
                       int timeout_seconds);

/*
 * The service's side: sends the answer to a request of `type`: the return code `code` and `length` bytes of `record`
 * (may be null where `length` is 0). Returns 0, or -1 when the answer was too long, or could not be sent whole within
 * SOCKET_TIME_LIMIT seconds: the client is then to be closed.
 */
int SOCKET_SendAnswer(int client, uint32_t type, uint32_t code, const void *record, uint32_t length);

#ifdef __cplusplus
}
#endif

#endif
