/* Tether: expressions over a link.
 *
 * A link carries whole expressions between a host and a library, or keeps them in memory (a loopback). An expression
 * is an integer, a real, a string, a symbol, or a function: a head and a fixed number of argument expressions.
 * A list is a function with the head "List".
 *
 * Conventions
 *   - A function that returns `int` gives non-zero for success and 0 for failure, unless it says otherwise.
 *   - A failure leaves an error code on the link (TTError). Until TTClearError, every further put, get, transfer and
 *     packet function on that link fails, and nothing is put or consumed.
 *   - A get function that fails consumes nothing.
 *   - What a get function hands out belongs to the caller until it is given to the release function of the same name.
 *   - A null link is an error of every function and never undefined behaviour.
 *   - Nothing is locked: links of one environment are used from one thread at a time.
 */
#ifndef VELMORA_TETHER_H
#define VELMORA_TETHER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define TT_API __attribute__((visibility("default")))
#else
#define TT_API
#endif

typedef struct TTEnvironmentRecord* TTEnvironment; /* what links are opened in */
typedef struct TTLinkRecord* TTLink;               /* one end of a link, or a loopback */
typedef struct TTMarkRecord* TTMark;               /* a remembered reading position */

/* Error codes (TTError). */
enum {
    TTE_OK = 0,
    TTE_NULL = 1,     /* null link or null pointer */
    TTE_MEMORY = 2,   /* no memory */
    TTE_EMPTY = 3,    /* nothing (more) to read, or an expression that has not arrived whole */
    TTE_TYPE = 4,     /* the next expression is of another type */
    TTE_RANGE = 5,    /* the number does not fit the type asked for */
    TTE_SEQUENCE = 6, /* a packet ended inside an expression, or counts that make no sense */
    TTE_ENCODING = 7, /* text that is not well formed, or that the encoding cannot hold */
    TTE_HEAD = 8,     /* another head or symbol than the one tested for */
    TTE_SHAPE = 9,    /* nested lists that form no rectangular array */
    TTE_REFUSED = 10, /* refused by the fault hook */
    TTE_LINK = 11     /* not possible on this kind of link */
};

/* Types of the next expression (TTGetNext). */
enum { TTTK_ERROR = 0, TTTK_FUNCTION = 1, TTTK_SYMBOL = 2, TTTK_STRING = 3, TTTK_INTEGER = 4, TTTK_REAL = 5 };

/* Packets (TTNextPacket). */
enum { TTP_ILLEGAL = 0, TTP_RETURN = 3, TTP_EVALUATE = 13 };

/* ---- Environments: the host's side ------------------------------------------------------------------------- */

/* Makes an environment; null when there is no memory. */
TT_API TTEnvironment TTInitialize(void);

/* Ends an environment. Links that are still open are closed; the handles are dead from here on. */
TT_API void TTDeinitialize(TTEnvironment environment);

/* Called before each link function that can fail, with the function's name. A non-zero answer makes that call fail
 * with TTE_REFUSED (TTLoopbackOpen and TTOpenPair: with that code in their out parameter). */
typedef int (*TTFaultHook)(const char* function, void* context);

/* Sets the hook of an environment; a null hook removes it. */
TT_API void TTSetFaultHook(TTEnvironment environment, TTFaultHook hook, void* context);

/* Links open in the environment, marks included, and buffers handed out and not yet released. */
TT_API int TTOpenLinkCount(TTEnvironment environment);
TT_API int TTOpenBufferCount(TTEnvironment environment);

/* ---- Links ------------------------------------------------------------------------------------------------- */

/* Opens a loopback: what is put on it is read from it again, first in, first out. `*error` becomes 0, or an error
 * code; on error the result is null. */
TT_API TTLink TTLoopbackOpen(TTEnvironment environment, int* error);

/* Opens two ends joined by a queue in each direction. Same `*error`; returns non-zero for success. */
TT_API int TTOpenPair(TTEnvironment environment, TTLink* first, TTLink* second, int* error);

/* The environment that the link was opened in; null for a null link. */
TT_API TTEnvironment TTLinkEnvironment(TTLink link);

/* Closes a link and drops what is unread on it, its marks included. The other end of a pair stays and reads what was
 * put before. A null link is ignored. */
TT_API void TTClose(TTLink link);

/* Drops everything unread and half written in both directions and clears the error. Marks stay, at the end. */
TT_API int TTReset(TTLink link);

/* Error code of the link, TTE_NULL for a null link. */
TT_API int TTError(TTLink link);
/* A sentence for the error code, null when there is none; release it with TTReleaseErrorMessage. */
TT_API const char* TTErrorMessage(TTLink link);
TT_API void TTReleaseErrorMessage(TTLink link, const char* message);
/* Takes the error off, so that the link can be used again. */
TT_API int TTClearError(TTLink link);

/* ---- Marks ------------------------------------------------------------------------------------------------- */

/* Remembers the reading position; what is read from here on is kept until the mark is destroyed. Null on failure. */
TT_API TTMark TTCreateMark(TTLink link);
/* Goes back to the mark and then `skip` whole expressions forward. Gives the mark, or null on failure. */
TT_API TTMark TTSeekMark(TTLink link, TTMark mark, int skip);
TT_API void TTDestroyMark(TTLink link, TTMark mark);

/* ---- Transfer ---------------------------------------------------------------------------------------------- */

/* Moves the next whole expression of `source` to `target`. An error of the source is left on the source. */
TT_API int TTTransferExpression(TTLink target, TTLink source);
/* Moves all expressions of a loopback, in order. An empty loopback is a success; a half-written one is refused. */
TT_API int TTTransferToEndOfLoopbackLink(TTLink target, TTLink loopback);

/* ---- Packets ----------------------------------------------------------------------------------------------- */

/* Reads the head of the next packet and gives its number, 0 (with an error on the link) for anything else. */
TT_API int TTNextPacket(TTLink link);
/* Skips the rest of the packet that is being read. Nothing to skip is a success. */
TT_API int TTNewPacket(TTLink link);
/* Marks the end of the packet that is being written. */
TT_API int TTEndPacket(TTLink link);
/* Makes what was put visible to the other end. Both ends share memory here, so that it is visible at once. */
TT_API int TTFlush(TTLink link);

/* ---- Functions and symbols --------------------------------------------------------------------------------- */

/* Type of the next expression, without consuming it; an end of packet is passed over. */
TT_API int TTGetNext(TTLink link);

/* Starts a function; `argumentCount` whole expressions have to follow. A negative count is TTE_SEQUENCE. */
TT_API int TTPutFunction(TTLink link, const char* head, int argumentCount);
TT_API int TTPutSymbol(TTLink link, const char* name);

/* Head (UTF-8, released with TTReleaseSymbol) and number of arguments. */
TT_API int TTGetFunction(TTLink link, const char** head, int* argumentCount);
TT_API int TTGetSymbol(TTLink link, const char** name);
TT_API void TTReleaseSymbol(TTLink link, const char* name);

/* Consumes a function head when it is `head`; otherwise TTE_HEAD and nothing is consumed. */
TT_API int TTTestHead(TTLink link, const char* head, int* argumentCount);
/* The same for a symbol. */
TT_API int TTTestSymbol(TTLink link, const char* name);

/* ---- Numbers ----------------------------------------------------------------------------------------------- */

/* For each type: one number; a list of numbers; an array of `depth` dimensions, slowest first.
 *
 * `heads` names the function at each level of an array; null, or null for a level, means "List". On reading, heads
 * are given as they stand, all levels alike. Integers are kept in 64 bits and reals in double: a get function of a
 * narrower integer fails with TTE_RANGE for what does not fit, one of a narrower real rounds. Reading an integer as a
 * real is allowed, the reverse is TTE_TYPE. Integer8 is unsigned (0 to 255), the others are signed. */
#define TT_NUMBER_FUNCTIONS(Name, Type)                                                                                \
    TT_API int TTPut##Name(TTLink link, Type value);                                                                   \
    TT_API int TTGet##Name(TTLink link, Type* value);                                                                  \
    TT_API int TTPut##Name##List(TTLink link, const Type* data, int length);                                           \
    TT_API int TTGet##Name##List(TTLink link, const Type** data, int* length);                                         \
    TT_API void TTRelease##Name##List(TTLink link, const Type* data, int length);                                      \
    TT_API int TTPut##Name##Array(TTLink link, const Type* data, const int* dimensions, const char* const* heads,      \
                                  int depth);                                                                          \
    TT_API int TTGet##Name##Array(TTLink link, const Type** data, const int** dimensions, const char* const** heads,   \
                                  int* depth);                                                                         \
    TT_API void TTRelease##Name##Array(TTLink link, const Type* data, const int* dimensions, const char* const* heads, \
                                       int depth);

TT_NUMBER_FUNCTIONS(Integer8, unsigned char)
TT_NUMBER_FUNCTIONS(Integer16, short)
TT_NUMBER_FUNCTIONS(Integer32, int)
TT_NUMBER_FUNCTIONS(Integer64, long long)
TT_NUMBER_FUNCTIONS(Real32, float)
TT_NUMBER_FUNCTIONS(Real64, double)

/* ---- Text -------------------------------------------------------------------------------------------------- */

/* Text is kept as Unicode. Each put function checks its input (overlong forms, lone surrogates, values beyond
 * U+10FFFF are TTE_ENCODING), each get function refuses text that its encoding cannot hold, also TTE_ENCODING.
 * Lengths count units of the encoding, not bytes and not characters; buffers handed out end with a zero unit that the
 * length does not count. There is no byte-order mark: units are in the machine's byte order.
 *
 *   (none)   text of the system, ended by a zero byte: UTF-8
 *   Byte     one byte a character, U+0000 to U+00FF
 *   UTF8     1 to 4 bytes a character
 *   UTF16    1 or 2 units a character
 *   UCS2     1 unit a character, U+0000 to U+FFFF without the surrogates
 *   UTF32    1 unit a character
 */
TT_API int TTPutString(TTLink link, const char* text);
TT_API int TTGetString(TTLink link, const char** text);
TT_API void TTReleaseString(TTLink link, const char* text);

#define TT_TEXT_FUNCTIONS(Name, Unit)                                                                                  \
    TT_API int TTPut##Name##String(TTLink link, const Unit* text, int length);                                         \
    TT_API int TTGet##Name##String(TTLink link, const Unit** text, int* length);                                       \
    TT_API void TTRelease##Name##String(TTLink link, const Unit* text, int length);

TT_TEXT_FUNCTIONS(Byte, unsigned char)
TT_TEXT_FUNCTIONS(UTF8, unsigned char)
TT_TEXT_FUNCTIONS(UTF16, uint16_t)
TT_TEXT_FUNCTIONS(UCS2, uint16_t)
TT_TEXT_FUNCTIONS(UTF32, uint32_t)

#ifdef __cplusplus
}
#endif

#endif
