/**
 * @file ridge-sdk.h
 * @brief Drives a ridge fingerprint scanner on a serial line: discovery, connection, information,
 *        settings, captures, host-assisted captures, streams, device key, certificate and signing
 *        requests.
 *
 * This is the one header of the library. It is plain C11, needs nothing but <stdint.h>, and can be
 * included from C++.
 *
 * Conventions that hold for all functions
 * ---------------------------------------
 *
 * Status codes. A function that can fail returns one of the `RIDGE_...` codes of #ridgeStatus; 0 is
 * success. The text that belongs to the last failure of a context is read with
 * ridgeGetLastErrorDescription(). A function that succeeds leaves the text of an earlier failure in
 * place, so look at the status first and at the text only after a failure. The exceptions:
 * the start of a connect, ridgeDisconnect() and ridgeStopCapture() clear the text. A NULL context
 * is reported as #RIDGE_NULL_ARGUMENT without a text, as there is nowhere to keep it. Where a
 * function says "no text" of another pointer, none is written either: an earlier one stays.
 *
 * Order of checks. Arguments are checked before the state of the connection is looked at, so a
 * wrong argument is reported even on a context that is not connected; the size of a certificate is
 * the exception. Each function lists its status codes in the order in which it checks.
 *
 * Contexts. A device context stands for one scanner. It takes no lock: use one context from one
 * thread at a time. Different contexts are independent and may be used from different threads at
 * once. Two functions may also be called from other threads, between the return of the connect and
 * the call of ridgeDisconnect() or ridgeFreeDeviceContext(): ridgeHostAssistedCaptureSetResult()
 * and ridgeIsConnected().
 *
 * Callbacks. Captures, streams and signing requests run on a worker thread of the library, one per
 * context, and call back on it, one call at a time. With its own context, a callback may call
 * ridgeHostAssistedCaptureSetResult() and ridgeIsConnected(), and no other function:
 * ridgeStopCapture(), ridgeDisconnect() and ridgeFreeDeviceContext() would wait for the
 * callback itself to return, and the others belong to the thread that uses the context. For the
 * same reason a callback must not wait for a thread that may be inside one of these three functions
 * (by SendMessage(), say, or for a lock that the thread holds): post, do not send. From a signing
 * request's callback, ridgeDisconnect() and ridgeFreeDeviceContext() end the process. The scanner
 * waits while a captureCallback runs; return soon from an eventCallback, as the capture's time-out
 * runs on. Let no C++ exception leave a callback.
 *
 * Memory. Records and texts that the library hands out belong to it; each function says how long
 * they stay valid. What you pass in is copied before the function returns, function pointers and
 * `userContext` pointers excepted: what `userContext` points to must live until the operation has
 * ended.
 *
 * Time. A command that goes to the scanner waits at most 3 seconds for the port to take it and at
 * most 3 seconds for each answer (10 seconds for a signing request). A function that is said to
 * block longer names its own bound; one that is said not to block may wait for an instant while a
 * lost connection is being closed.
 *
 * Unloading. Free every context before FreeLibrary(). Once a capture, a stream or a signing request
 * has been started, the library stays loaded until the process ends all the same.
 *
 * Texts are NUL-terminated byte strings. All functions use the C calling convention.
 */
#ifndef RIDGE_SDK_H
#define RIDGE_SDK_H

#include <stdint.h>

#if defined(_WIN32) && !defined(RIDGE_SDK_STATIC)
#define RIDGE_API __declspec(dllimport)
#else
#define RIDGE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** The results of the functions. The value 1 is never produced. */
enum ridgeStatus {
    /** Success. */
    RIDGE_SUCCESS = 0,
    /** An argument has a value that is not allowed. */
    RIDGE_INVALID_ARGUMENT = 2,
    /** An argument that is required is NULL. */
    RIDGE_NULL_ARGUMENT = 3,
    /** Something that nobody expected, such as a lack of memory. */
    RIDGE_UNEXPECTED_FAILURE = 4,
    /** The serial port failed: it cannot be opened, or the scanner was unplugged. */
    RIDGE_SERIAL_PORT_ERROR = 5,
    /** The protocol or the library failed, or the session is busy with another operation. */
    RIDGE_PROTOCOL_ERROR = 6,
    /** The port did not take the bytes in time, or the scanner reported that no finger came. */
    RIDGE_TIMEOUT = 7,
    /** The context already holds a session. */
    RIDGE_CONTEXT_IN_USE = 8,
    /** The scanner did not answer in time, or not what it was asked. */
    RIDGE_NO_RESPONSE = 9,
    /** The scanner sent data that make no sense. */
    RIDGE_MALFORMED_DATA = 10,
    /** The context is not connected to a scanner. */
    RIDGE_NOT_CONNECTED = 11,
    /** A capture, host-assisted capture or stream is running. */
    RIDGE_CAPTURE_ACTIVE = 12,
    /** The scanner reported a failure; the text holds its own number and words. */
    RIDGE_DEVICE_FAILURE = 13,
    /** The scanner's answer is of the wrong type, or its image never came. */
    RIDGE_UNEXPECTED_RESPONSE = 14
};

/** A device context: one scanner, its session and the text of the last failure. Opaque. */
typedef struct ridgeDeviceContext ridgeDeviceContext;

/**
 * A scanner that was attached when the list was made. The texts are in the system's ANSI code page
 * and are never NULL.
 */
typedef struct ridgeDeviceEntry {
    /** The COM port as the system names it, such as "COM3" or "COM12". */
    const char* portName;
    /** The USB serial number; empty when the system knows none. */
    const char* serialNumber;
    /** The system's description of the device; may be empty. */
    const char* description;
    /** The manufacturer as the system names it; may be empty. */
    const char* manufacturer;
    /** The library's own; leave it alone. An entry copied with it serves ridgeConnect() as well. */
    void* internal;
} ridgeDeviceEntry;

/** The scanners that were attached when ridgeQueryDevices() was called. */
typedef struct ridgeDeviceList {
    /** `count` entries one after the other; NULL when there are none. */
    const ridgeDeviceEntry* devices;
    /** Number of entries. */
    uint32_t count;
    /** The library's own; leave it alone. */
    void* internal;
} ridgeDeviceList;

/**
 * What the scanner says about itself. The meaning of the texts and values is the scanner's; they
 * are numbered in the order in which it sends them. Mind the order of the fields: text6 comes
 * before text5 and text4.
 */
typedef struct ridgeDeviceInfo {
    const char* text1; /**< The first text. */
    const char* text2; /**< The second text. */
    const char* text3; /**< The third text. */
    const char* text6; /**< The sixth text. */
    const char* text5; /**< The fifth text. */
    const char* text4; /**< The fourth text. */
    const char* text7; /**< The seventh text. */
    uint16_t value1;   /**< The first value. */
    uint16_t value2;   /**< The second value. */
    /** Bits 0 to 4 are the scanner's five features; all other bits are 0. */
    uint32_t features;
} ridgeDeviceInfo;

/** The scanner's settings. */
typedef struct ridgeDeviceSettings {
    /** Rotation code of the images, 0 to 3. */
    uint8_t rotation;
    /** The scanner's option: 0 off, any other value on. Read as 0 or 1. */
    uint8_t option;
} ridgeDeviceSettings;

/** What a capture shall do. */
typedef struct ridgeCaptureParameters {
    /** Code of the finger's position, 0 to 10. */
    uint8_t fingerPosition;
    /** How long the scanner waits for a finger, in milliseconds, at most 30000. Not used by a
     *  host-assisted capture, but checked all the same. */
    uint32_t captureTimeout;
    /** Options, handed to the scanner as they are. Bit 3 (0x8) is set in addition when an event
     *  callback is given. A host-assisted capture does not accept 0. */
    uint32_t captureOption;
} ridgeCaptureParameters;

/** An image and what the scanner says about it. Absent parts are 0 and NULL. */
typedef struct ridgeCaptureResult {
    /** Width of the image in pixels. */
    uint32_t width;
    /** Height of the image in pixels. */
    uint32_t height;
    /** The image's bytes, as the scanner sent them; those that a host-assisted capture shows for
     *  judgement are unmasked. */
    const uint8_t* image;
    /** Number of image bytes. */
    uint32_t imageSize;
    /** A value that the scanner adds to a captured image; 0 in a stream and in the images that are
     *  shown for judgement. */
    uint8_t extraValue;
    /** Number of trailer bytes. */
    uint32_t trailerSize;
    /** Bytes that the scanner adds to a captured image. */
    const uint8_t* trailer;
    /** The scanner's first flag, 0 or 1. */
    uint8_t flagA;
    /** The scanner's second flag, 0 or 1. */
    uint8_t flagB;
    /** The scanner's third flag, 0 or 1. Has a meaning only when flagB is set, and is 0 otherwise.
     */
    uint8_t flagC;
} ridgeCaptureResult;

/**
 * Called when a running operation fails.
 *
 * Thread: the worker. A failure ends the operation, with one exception: a stream, or a
 * host-assisted capture that shows images, calls it for each image that makes no sense
 * (#RIDGE_MALFORMED_DATA, "Invalid capture data") and goes on. To a host-assisted capture such an
 * image is like one that was shown: if the image before it was rejected, so is this one; if it is
 * the first, a verdict is awaited, and rejecting it brings the next. Other failures with
 * #RIDGE_MALFORMED_DATA, such as "Invalid stream data length 10", do end it: tell them by the text.
 *
 * A stop that the scanner does not confirm is a failure too, see ridgeStopCapture().
 *
 * @param status       one of #ridgeStatus, never 0
 * @param message      the failure's text, valid during the call
 * @param userContext  as given at the start
 */
typedef void (*ridgeErrorCallback)(int32_t status, const char* message, void* userContext);

/**
 * Called when an image is ready: once by a capture, for each image by a stream and a host-assisted
 * capture.
 *
 * Thread: the worker.
 *
 * @param result       the image; the record and the bytes it points to are valid during the call
 * @param userContext  as given at the start
 */
typedef void (*ridgeCaptureCallback)(const ridgeCaptureResult* result, void* userContext);

/**
 * Called each time the scanner reports its capture event while a capture waits for the image.
 *
 * Thread: the worker.
 *
 * @param userContext          as given at the start
 * @param elapsedMilliseconds  time since the capture began
 */
typedef void (*ridgeEventCallback)(void* userContext, uint32_t elapsedMilliseconds);

/** Where a capture or stream reports to. */
typedef struct ridgeCaptureCallbacks {
    /** Required. */
    ridgeErrorCallback errorCallback;
    /** Required. */
    ridgeCaptureCallback captureCallback;
    /** Optional: NULL means that the scanner is not asked to report events. */
    ridgeEventCallback eventCallback;
} ridgeCaptureCallbacks;

/**
 * The subject of a certificate signing request: NUL-terminated UTF-8 texts. NULL is the same as an
 * empty text. Lengths are in characters (Unicode code points).
 */
typedef struct ridgeCsrSubjectName {
    /** Required, 1 to 64 characters. */
    const char* commonName;
    /** Empty, or two characters: ASCII letters, digits, space or any of ' ( ) + , - . / : = ? */
    const char* country;
    /** At most 128 characters. */
    const char* locality;
    /** At most 64 characters. */
    const char* organization;
    /** At most 64 characters. */
    const char* organizationalUnit;
    /** At most 128 characters. */
    const char* stateOrProvince;
} ridgeCsrSubjectName;

/**
 * Takes a certificate signing request. Called once, on the worker thread.
 *
 * @param request      the request as the scanner made it, valid during the call
 * @param size         its size in bytes, at least 1
 * @param userContext  as given at the start
 */
typedef void (*ridgeCsrCallback)(const uint8_t* request, uint32_t size, void* userContext);

/**
 * Takes the library's log lines.
 *
 * Thread: whichever thread logs, the library's own among them, but one call at a time. The log is
 * locked during the call: do not call into the library from here, it may deadlock.
 *
 * @param level        'D', 'I', 'W' or 'E'
 * @param line         one finished line without a line break, valid during the call, such as
 *                     "[I 4312 sdk/src/ridge-sdk.cpp:210 20240131-142501] Start stream":
 *                     level, thread, place, local time and message
 * @param userContext  as given to ridgeSetLogger()
 */
typedef void (*ridgeLogCallback)(int32_t level, const char* line, void* userContext);

/* ---------------------------------------------------------------- Library and contexts ---------
 */

/**
 * The library's version.
 *
 * @return a text such as "1.6.3", valid while the library is loaded. Any thread; does not block.
 */
RIDGE_API const char* ridgeGetSdkVersion(void);

/**
 * Installs the function that gets the library's log lines, for the whole process. It replaces the
 * one before; it cannot be removed. Until it is called, nothing is logged.
 *
 * Any thread. Blocks while a log line is being delivered; must not be called from a log callback.
 * When it returns, the callback before is not called any more. Of two calls at once, either may be
 * the one that stays.
 *
 * @param level        threshold: 'D' everything, 'I' information and above, 'W' warnings and
 *                     errors, 'E' errors only
 * @param callback     the function
 * @param userContext  handed to the callback unchanged; may be NULL. What it points to must live
 *                     until another logger has been installed.
 * @return #RIDGE_NULL_ARGUMENT      callback is NULL; the installed logger stays
 * @return #RIDGE_INVALID_ARGUMENT   level is not one of the four; the installed logger stays
 * @return #RIDGE_UNEXPECTED_FAILURE no memory; there is no logger now
 * @return #RIDGE_SUCCESS
 */
RIDGE_API int32_t ridgeSetLogger(int32_t level, ridgeLogCallback callback, void* userContext);

/**
 * Creates a device context, not connected.
 *
 * Any thread; does not block.
 *
 * @return the context, to be released with ridgeFreeDeviceContext(), or NULL for lack of memory
 */
RIDGE_API ridgeDeviceContext* ridgeCreateDeviceContext(void);

/**
 * Disconnects, as ridgeDisconnect() does and for as long, and releases the context. The handle,
 * and every text taken from the context, is invalid afterwards. As with ridgeDisconnect(), no
 * signing request may be under way.
 *
 * @param context  the context; NULL is ignored
 */
RIDGE_API void ridgeFreeDeviceContext(ridgeDeviceContext* context);

/**
 * The text of the last failure on a context.
 *
 * Does not block.
 *
 * @param context  the context; may be NULL
 * @return the text, empty when nothing failed yet or the context is NULL; never NULL. Valid until
 *         the next call on the context that fails, starts to connect, disconnects or stops, and
 *         until the context is freed.
 */
RIDGE_API const char* ridgeGetLastErrorDescription(const ridgeDeviceContext* context);

/* ---------------------------------------------------------------- Discovery --------------------
 */

/**
 * Lists the scanners that are attached now.
 *
 * The list is a snapshot: it does not change when scanners come and go, and belongs to no context.
 * To notice them, query again, for example when Windows sends WM_DEVICECHANGE. A scanner that
 * another program has open is listed too. The order is the system's.
 *
 * Any thread, also several at once. Blocks as long as the system needs to look through its devices,
 * usually some milliseconds. No scanner is spoken to.
 *
 * @param list  gets the list, also when it is empty; to be released with ridgeFreeDevices()
 * @return #RIDGE_NULL_ARGUMENT  list is NULL
 * @return #RIDGE_SUCCESS        what the system does not tell about a device leaves a text empty
 *
 * A lack of memory is not turned into a status: std::bad_alloc leaves the function, `*list` is as
 * it was, and nothing is lost. Only a C++ program built with the library's compiler can catch it;
 * any other ends.
 */
RIDGE_API int32_t ridgeQueryDevices(ridgeDeviceList** list);

/**
 * Releases a list with its entries and their texts. A session that was opened with one of its
 * entries goes on.
 *
 * Any thread; does not block.
 *
 * @param list  a list of ridgeQueryDevices(); NULL is ignored
 */
RIDGE_API void ridgeFreeDevices(ridgeDeviceList* list);

/* ---------------------------------------------------------------- Connection -------------------
 */

/**
 * Opens a session with a scanner of a list and reads its information and settings.
 *
 * Opens the port that the scanner had when the list was made. If it was unplugged since, the
 * connect fails; if another scanner has got that port, the session is with that one.
 *
 * Blocks as ridgeConnectCOM() does.
 *
 * @param device   an entry of a list that has not been freed; not needed after the call
 * @param context  a context without a session
 * @return #RIDGE_NULL_ARGUMENT       context is NULL
 * @return #RIDGE_CONTEXT_IN_USE      there is a session already, even if its scanner is lost
 *                                    ("Context in use.")
 * @return #RIDGE_NULL_ARGUMENT       device is NULL ("'dev' cannot be NULL."); then: it is not an
 *                                    entry of a list, its `internal` being NULL ("Invalid state.")
 * @return the other codes of ridgeConnectCOM()
 *
 * After a failure other than #RIDGE_CONTEXT_IN_USE the context is without a session and the port is
 * closed.
 */
RIDGE_API int32_t ridgeConnect(const ridgeDeviceEntry* device, ridgeDeviceContext* context);

/**
 * Opens a session with the scanner on a COM port and reads its information and settings.
 *
 * Blocks for two commands: at most 3 seconds to send each and 3 seconds for its answer. The first
 * that fails ends it.
 *
 * @param comPort  the port's name as the system takes it: "COM3" up to "COM9", "\\\\.\\COM12" for
 *                 any number; used as it stands
 * @param context  a context without a session
 * @return #RIDGE_NULL_ARGUMENT       context is NULL
 * @return #RIDGE_CONTEXT_IN_USE      there is a session already, even if its scanner is lost
 *                                    ("Context in use.")
 * @return #RIDGE_NULL_ARGUMENT       comPort is NULL or empty ("'comPort' cannot be NULL or
 *                                    empty.")
 * @return #RIDGE_SERIAL_PORT_ERROR   the port cannot be opened (the text is the system's) or not be
 *                                    set up ("Error clearing port. ..." and the like)
 * @return #RIDGE_TIMEOUT             the port does not take the request
 * @return #RIDGE_NO_RESPONSE, #RIDGE_MALFORMED_DATA, #RIDGE_DEVICE_FAILURE,
 *         #RIDGE_UNEXPECTED_RESPONSE what answers on the port is not a working scanner
 * @return #RIDGE_PROTOCOL_ERROR, #RIDGE_UNEXPECTED_FAILURE
 * @return #RIDGE_SUCCESS
 *
 * After a failure other than #RIDGE_CONTEXT_IN_USE the context is without a session and the port is
 * closed.
 */
RIDGE_API int32_t ridgeConnectCOM(const char* comPort, ridgeDeviceContext* context);

/**
 * Tells whether a context is connected. A session gives its scanner up when a running capture or
 * stream notices, between two commands, that the port has failed. When a command meets the failure
 * first, or nothing runs, the session stays; the next function that looks reports the failure
 * (#RIDGE_SERIAL_PORT_ERROR). Either way the remedy is ridgeDisconnect() and a new connect.
 *
 * Any thread while the context is connected (see Contexts above), callbacks included. Does not
 * block.
 *
 * @param context  the context; may be NULL
 * @return 1 when connected, 0 otherwise
 */
RIDGE_API uint8_t ridgeIsConnected(const ridgeDeviceContext* context);

/**
 * Ends the session, if there is one: stops a running capture or stream, waits for its end and
 * closes the port. The context can be connected again. Clears the last failure's text.
 *
 * Blocks as ridgeStopCapture() does; must not be called from a callback, nor while a signing
 * request is being created: see ridgeDeviceSecurityCreateCsr().
 *
 * @param context  the context; NULL is ignored
 */
RIDGE_API void ridgeDisconnect(ridgeDeviceContext* context);

/**
 * The scanner's information, as read when the session was opened or, after that, when its key or
 * certificate was last changed through this context.
 *
 * Does not block; nothing is sent.
 *
 * @param context  the context
 * @param info     record to fill. Its texts belong to the session and are valid until the
 *                 information is read anew (see ridgeDeviceSecuritySetKey() and the three functions
 *                 like it), ridgeDisconnect() or ridgeFreeDeviceContext().
 * @return #RIDGE_NULL_ARGUMENT      context or info is NULL ("'info' cannot be NULL.")
 * @return #RIDGE_SERIAL_PORT_ERROR  the port has failed ("Serial port error detected. ...")
 * @return #RIDGE_NOT_CONNECTED      "Not connected."
 * @return #RIDGE_SUCCESS
 */
RIDGE_API int32_t ridgeGetInfo(ridgeDeviceContext* context, ridgeDeviceInfo* info);

/**
 * The scanner's settings, as read when the session was opened. ridgeSettingsSet() does not change
 * what this returns: to read new settings, connect again.
 *
 * Does not block; nothing is sent.
 *
 * @param context   the context
 * @param settings  record to fill
 * @return #RIDGE_NULL_ARGUMENT  context or settings is NULL (no text)
 * @return #RIDGE_NOT_CONNECTED  "Not connected."
 * @return #RIDGE_SUCCESS
 */
RIDGE_API int32_t ridgeSettingsGet(ridgeDeviceContext* context, ridgeDeviceSettings* settings);

/**
 * Writes the scanner's settings.
 *
 * Blocks for one command, at most 3 seconds to send it and 3 seconds for the answer.
 *
 * @param context   the context
 * @param settings  the settings; copied
 * @return #RIDGE_NULL_ARGUMENT      context is NULL; or settings is ("Settings cannot be NULL.")
 * @return #RIDGE_INVALID_ARGUMENT   rotation is above 3 ("Invalid rotation angle 4.")
 * @return #RIDGE_SERIAL_PORT_ERROR  the port has failed
 * @return #RIDGE_NOT_CONNECTED      "Not connected."
 * @return #RIDGE_CAPTURE_ACTIVE     a capture or stream runs ("Capture is active.")
 * @return #RIDGE_PROTOCOL_ERROR     another operation runs
 * @return #RIDGE_TIMEOUT, #RIDGE_NO_RESPONSE, #RIDGE_DEVICE_FAILURE,
 *         #RIDGE_UNEXPECTED_RESPONSE, #RIDGE_UNEXPECTED_FAILURE
 * @return #RIDGE_SUCCESS
 */
RIDGE_API int32_t ridgeSettingsSet(ridgeDeviceContext* context,
                                   const ridgeDeviceSettings* settings);

/* ---------------------------------------------------------------- Captures ---------------------
 */

/**
 * Starts a capture and returns. The image, or the failure, arrives through the callbacks:
 *
 * - captureCallback: the image; the capture is over.
 * - errorCallback: the failure; the capture is over. #RIDGE_TIMEOUT with "Capture timeout" means
 *   that no finger came; #RIDGE_UNEXPECTED_RESPONSE with "Timeout waiting for capture data" that
 *   neither image nor time-out came within captureTimeout and 3 seconds;
 *   #RIDGE_SERIAL_PORT_ERROR that the port failed, see ridgeIsConnected().
 * - eventCallback: any number of times before these.
 * - A capture that is stopped calls nothing more, unless it ends at that very moment or the scanner
 *   does not confirm the stop, see ridgeStopCapture().
 *
 * A capture still counts as running for an instant after its last callback has returned. Before the
 * next start, call ridgeStopCapture(): it waits for the end.
 *
 * Does not block.
 *
 * @param context      the context
 * @param parameters   what to capture; copied
 * @param block        NULL, or exactly 256 bytes that are handed to the scanner; copied
 * @param callbacks    where to report to; copied
 * @param userContext  handed to every callback unchanged; may be NULL
 * @return #RIDGE_NULL_ARGUMENT      context is NULL; or parameters is ("Capture parameters cannot
 *                                   be NULL.")
 * @return #RIDGE_INVALID_ARGUMENT   fingerPosition is above 10; then: captureTimeout is above 30000
 * @return #RIDGE_NULL_ARGUMENT      callbacks is NULL ("Capture callbacks cannot be NULL.")
 * @return #RIDGE_INVALID_ARGUMENT   errorCallback is NULL; then: captureCallback is NULL
 * @return #RIDGE_SERIAL_PORT_ERROR  the port has failed
 * @return #RIDGE_NOT_CONNECTED      "Not connected."
 * @return #RIDGE_CAPTURE_ACTIVE     a capture or stream runs, and goes on undisturbed
 * @return #RIDGE_PROTOCOL_ERROR     another operation runs
 * @return #RIDGE_UNEXPECTED_FAILURE the worker cannot be started
 * @return #RIDGE_SUCCESS            the capture runs
 */
RIDGE_API int32_t ridgeStartCapture(ridgeDeviceContext* context,
                                    const ridgeCaptureParameters* parameters, const uint8_t* block,
                                    const ridgeCaptureCallbacks* callbacks, void* userContext);

/**
 * Starts a host-assisted capture and returns. The scanner shows one image after the other through
 * captureCallback and waits for the host's verdict on each, which is given with
 * ridgeHostAssistedCaptureSetResult(). A rejected image is followed by another; after an accepted
 * one captureCallback brings the final capture, with extra value and trailer, and the capture is
 * over. There is no time-out for a verdict: the capture runs until an image is accepted, it fails
 * (the scanner may report a "Capture timeout" after an accepted image), or ridgeStopCapture() ends
 * it. eventCallback is not called.
 *
 * Does not block. A captureOption of 0 is refused by the worker (errorCallback,
 * #RIDGE_PROTOCOL_ERROR, "Failed to start host assisted capture (1).").
 *
 * @param context      the context
 * @param parameters   what to capture; copied. captureTimeout is checked though it is not used
 * @param block        NULL, or exactly 256 bytes that are handed to the scanner; copied
 * @param callbacks    where to report to; copied
 * @param userContext  handed to every callback unchanged; may be NULL
 * @return the codes of ridgeStartCapture(), in the same order
 */
RIDGE_API int32_t ridgeStartHostAssistedCapture(ridgeDeviceContext* context,
                                                const ridgeCaptureParameters* parameters,
                                                const uint8_t* block,
                                                const ridgeCaptureCallbacks* callbacks,
                                                void* userContext);

/**
 * Gives the host's verdict on the image that a host-assisted capture showed last. A verdict that is
 * given before the image has arrived does not count; one that is given from inside captureCallback
 * does. Without a session the call does nothing.
 *
 * Any thread while the context is connected (see Contexts above), callbacks included. Does not
 * block.
 *
 * @param context  the context; NULL is ignored
 * @param result   0 rejects the image; any other value accepts it, except 2, which leaves the
 *                 verdict open
 */
RIDGE_API void ridgeHostAssistedCaptureSetResult(ridgeDeviceContext* context, uint8_t result);

/**
 * Starts a stream of images and returns. captureCallback brings each image, without extra value and
 * trailer, until ridgeStopCapture() ends the stream or it fails. eventCallback is not called.
 *
 * Does not block.
 *
 * @param context      the context
 * @param block        NULL, or exactly 256 bytes that are handed to the scanner; copied
 * @param callbacks    where to report to; copied
 * @param userContext  handed to every callback unchanged; may be NULL
 * @return #RIDGE_NULL_ARGUMENT      context is NULL; or callbacks is ("Capture callbacks cannot be
 *                                   NULL.")
 * @return #RIDGE_INVALID_ARGUMENT   errorCallback is NULL; then: captureCallback is NULL
 * @return #RIDGE_SERIAL_PORT_ERROR  the port has failed
 * @return #RIDGE_NOT_CONNECTED      "Not connected."
 * @return #RIDGE_CAPTURE_ACTIVE     a capture or stream runs, and goes on undisturbed
 * @return #RIDGE_PROTOCOL_ERROR     another operation runs
 * @return #RIDGE_UNEXPECTED_FAILURE the worker cannot be started
 * @return #RIDGE_SUCCESS            the stream runs
 */
RIDGE_API int32_t ridgeStartStream(ridgeDeviceContext* context, const uint8_t* block,
                                   const ridgeCaptureCallbacks* callbacks, void* userContext);

/**
 * Stops a running capture, host-assisted capture or stream and waits for its end; with nothing
 * running, or while a signing request is being created, it returns at once. No callback of the
 * capture is called any more after it has returned. Clears the last failure's text.
 *
 * Blocks until the worker has ended: after its current command and callback it takes one waiting
 * packet from the line, if an image was under way, and tells the scanner to stop; with a silent
 * scanner, up to 3 seconds for each. A stop that the scanner does not confirm is reported through
 * errorCallback before this function returns, be it after an image that was just delivered. Must
 * not be called from a callback.
 *
 * @param context  the context; NULL is ignored
 */
RIDGE_API void ridgeStopCapture(ridgeDeviceContext* context);

/* ---------------------------------------------------------------- Key and certificate ----------
 *
 * The scanner keeps a device key and a certificate; the library keeps neither, and wipes its copies
 * of a key. These functions check their pointers, then whether there is a session, and then ask the
 * session whether it is ready.
 */

/**
 * Gives the scanner its device key, then reads its information anew: texts of an earlier
 * ridgeGetInfo() are invalid from then on.
 *
 * Blocks for two commands, for each at most 3 seconds to send it and 3 seconds for the answer. When
 * the second fails, its failure is returned though the key has been set.
 *
 * @param context  a connected context
 * @param key      exactly 32 bytes; copied, and the copies are wiped
 * @return #RIDGE_NULL_ARGUMENT      context or key is NULL (no text)
 * @return #RIDGE_NOT_CONNECTED      there is no session ("Not connected."), or it has lost its
 *                                   scanner ("Device is not connected!")
 * @return #RIDGE_PROTOCOL_ERROR     a capture, a stream or a signing request runs ("Invalid state -
 *                                   command execution or capture is active!")
 * @return #RIDGE_SERIAL_PORT_ERROR  the port has failed ("Serial port error detected. ..."),
 *                                   or fails while the request is sent
 * @return #RIDGE_TIMEOUT, #RIDGE_NO_RESPONSE ("Timeout setting device key." and the like),
 *         #RIDGE_DEVICE_FAILURE, #RIDGE_UNEXPECTED_RESPONSE, #RIDGE_MALFORMED_DATA,
 *         #RIDGE_UNEXPECTED_FAILURE
 * @return #RIDGE_SUCCESS
 */
RIDGE_API int32_t ridgeDeviceSecuritySetKey(ridgeDeviceContext* context, const uint8_t* key);

/**
 * Makes the scanner forget its device key, then reads its information anew.
 *
 * Blocks, and leaves texts of ridgeGetInfo() invalid, as ridgeDeviceSecuritySetKey() does.
 *
 * @param context  a connected context
 * @return #RIDGE_NULL_ARGUMENT  context is NULL
 * @return the other codes of ridgeDeviceSecuritySetKey(); the time-out reads "Timeout clearing
 *         device key."
 */
RIDGE_API int32_t ridgeDeviceSecurityClearKey(ridgeDeviceContext* context);

/**
 * Fetches the scanner's certificate.
 *
 * Blocks for one command, at most 3 seconds to send it and 3 seconds for the answer.
 *
 * @param context      a connected context
 * @param certificate  gets a buffer with the certificate, to be released with
 *                     ridgeDeviceSecurityCertFree() and nothing else; NULL when the scanner
 *                     has none
 * @param size         gets the size in bytes; 0 when the scanner has none
 * @return #RIDGE_NULL_ARGUMENT  context, certificate or size is NULL (no text)
 * @return the other codes of ridgeDeviceSecuritySetKey(), #RIDGE_MALFORMED_DATA excepted; the
 *         time-out reads "Timeout retrieving certificate from device."
 *
 * After a failure nothing has been stored.
 */
RIDGE_API int32_t ridgeDeviceSecurityCertGet(ridgeDeviceContext* context, uint8_t** certificate,
                                             uint32_t* size);

/**
 * Releases a certificate of ridgeDeviceSecurityCertGet(). Any thread; does not block.
 *
 * @param certificate  the buffer; NULL is allowed
 */
RIDGE_API void ridgeDeviceSecurityCertFree(uint8_t* certificate);

/**
 * Gives the scanner a certificate, then reads its information anew. The bytes are passed on as they
 * are.
 *
 * Blocks, and leaves texts of ridgeGetInfo() invalid, as ridgeDeviceSecuritySetKey() does.
 *
 * @param context      a connected context
 * @param certificate  the bytes; copied
 * @param size         their number, 1 to 6000
 * @return #RIDGE_NULL_ARGUMENT     context or certificate is NULL (no text)
 * @return #RIDGE_NOT_CONNECTED, #RIDGE_PROTOCOL_ERROR, #RIDGE_SERIAL_PORT_ERROR as
 *         ridgeDeviceSecuritySetKey()
 * @return #RIDGE_INVALID_ARGUMENT  the size is 0 or above 6000 ("Invalid certificate size 0.");
 *                                  nothing has been sent
 * @return the other codes of ridgeDeviceSecuritySetKey(); the time-out reads "Timeout setting
 *         certificate."
 */
RIDGE_API int32_t ridgeDeviceSecurityCertSet(ridgeDeviceContext* context,
                                             const uint8_t* certificate, uint32_t size);

/**
 * Makes the scanner forget its certificate and the keys that belong to it, then reads its
 * information anew.
 *
 * Blocks, and leaves texts of ridgeGetInfo() invalid, as ridgeDeviceSecuritySetKey() does.
 *
 * @param context  a connected context
 * @return #RIDGE_NULL_ARGUMENT  context is NULL
 * @return the other codes of ridgeDeviceSecuritySetKey(); the time-out reads "Timeout clearing
 *         certificate and keys."
 */
RIDGE_API int32_t ridgeDeviceSecurityCertClear(ridgeDeviceContext* context);

/**
 * Lets the scanner create a certificate signing request, and returns. One of the two callbacks is
 * called once, on the worker thread: csrCallback with the finished request, or csrErrorCallback
 * with the failure. A scanner that does not answer within 10 seconds is #RIDGE_NO_RESPONSE
 * ("Timeout creating CSR.").
 *
 * Until then every other operation that needs the scanner is refused with #RIDGE_PROTOCOL_ERROR,
 * and nothing can stop this one: ridgeStopCapture() does not wait for it. Do not call
 * ridgeDisconnect() or ridgeFreeDeviceContext() before one of the callbacks has been called: they
 * take away what the worker uses, and the process ends. Once a callback has been called they wait
 * for it to return. A request still counts as running for an instant after that: what is refused
 * then can be tried again.
 *
 * Does not block.
 *
 * @param context           a connected context
 * @param subjectName       the subject; copied
 * @param csrCallback       gets the request
 * @param csrErrorCallback  gets the failure
 * @param userContext       handed to either unchanged; may be NULL
 * @return #RIDGE_NULL_ARGUMENT      context, subjectName, csrCallback or csrErrorCallback is NULL
 *                                   (no text)
 * @return #RIDGE_INVALID_ARGUMENT   the subject is not as it must be: "common name must be
 *                                   specified.", "Value for locality name is not a valid UTF-8
 *                                   string.", "Value for common name has invalid length 65.
 *                                   Expected between 1 and 64 characters.", "Invalid country
 *                                   name value.". Looked at in this order: common name,
 *                                   locality, organization, organizational unit, state or
 *                                   province, country.
 * @return #RIDGE_NOT_CONNECTED, #RIDGE_PROTOCOL_ERROR, #RIDGE_SERIAL_PORT_ERROR as
 *         ridgeDeviceSecuritySetKey()
 * @return #RIDGE_UNEXPECTED_FAILURE the worker cannot be started
 * @return #RIDGE_SUCCESS            the request is being created
 */
RIDGE_API int32_t ridgeDeviceSecurityCreateCsr(ridgeDeviceContext* context,
                                               const ridgeCsrSubjectName* subjectName,
                                               ridgeCsrCallback csrCallback,
                                               ridgeErrorCallback csrErrorCallback,
                                               void* userContext);

#ifdef __cplusplus
}
#endif

#endif
