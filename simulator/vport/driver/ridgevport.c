// Virtual COM port: pairs of serial ends joined like a null-modem cable that has data wires only.
//
// Locking: `portsMutex` serialises what creates, removes, unplugs and replugs ports (it touches the
// object namespace); `lock` guards everything else. Requests are completed after `lock` is
// released: they are collected in a list first.
//
// A port's devices stay until the driver is unloaded. A handle that outlives its port, or its plug,
// carries the status that answers it in its FILE_OBJECT, so that a new port may use the same
// devices at once.

#include <ddk/wdm.h>

#include <ntddser.h>

#include "../ridgevport_ioctl.h"

#define POOL_TAG 0x67646952u
#define NAME_CAPACITY 64u
// Wine gives a request for a device of this stack size eight locations, of which this driver uses
// two.
#define STACK_SIZE 2
#define ENDED_CAPACITY 512u

typedef struct Fifo {
    UCHAR* bytes;
    ULONG first;
    ULONG count;
} Fifo;

typedef struct End {
    struct Port* port;
    struct End* peer;
    DEVICE_OBJECT* device;
    FILE_OBJECT* file; // the handle in service; null when closed or unplugged
    Fifo incoming;
    ULONGLONG bytesSent; // taken by the peer since the port was created
    LONGLONG lastSent;   // performance counter when the peer last took some
    LIST_ENTRY reads;
    LIST_ENTRY writes;
    LIST_ENTRY waits; // one at most
    ULONG waitMask;
    ULONG unreportedEvents;
    BOOLEAN writesHeld;
    SERIAL_BAUD_RATE baudRate;
    SERIAL_LINE_CONTROL lineControl;
    SERIAL_HANDFLOW handflow;
    SERIAL_CHARS chars;
    SERIAL_TIMEOUTS timeouts;
} End;

typedef struct Refusal {
    NTSTATUS status; // STATUS_SUCCESS: none
    BOOLEAN once;
} Refusal;

typedef struct Port {
    ULONG number;
    FILE_OBJECT* owner; // the control handle that created the port; null when it does not exist
    BOOLEAN plugged;
    Refusal refusals[RIDGE_VPORT_REQUEST_COUNT];
    End host;
    End line;
} Port;

typedef struct Extension {
    End* end; // null for the control device
} Extension;

static DRIVER_OBJECT* driver;
static KMUTEX portsMutex;
static KSPIN_LOCK lock;
static LIST_ENTRY watchers; // pending RIDGE_VPORT_AWAIT_STATE requests
static Port* ports[RIDGE_VPORT_LAST + 1];
static KSPIN_LOCK endedLock; // guards the two below
static IRP* ended[ENDED_CAPACITY];
static ULONG nextEnded;

// --- Pending requests
// -----------------------------------------------------------------------------

static IRP* irpOf(LIST_ENTRY* entry) {
    return CONTAINING_RECORD(entry, IRP, Tail.Overlay.ListEntry);
}

static void finish(IRP* irp, NTSTATUS status, LIST_ENTRY* done) {
    irp->IoStatus.Status = status;
    InsertTailList(done, &irp->Tail.Overlay.ListEntry);
}

static void completeAll(LIST_ENTRY* done) {
    while (!IsListEmpty(done)) {
        IoCompleteRequest(irpOf(RemoveHeadList(done)), IO_SERIAL_INCREMENT);
    }
}

// Takes a request off its queue. False: its cancel routine has begun, waits for the lock and will
// complete the request itself.
static BOOLEAN claim(IRP* irp) {
    RemoveEntryList(&irp->Tail.Overlay.ListEntry);
    InitializeListHead(&irp->Tail.Overlay.ListEntry);
    return IoSetCancelRoutine(irp, NULL) != NULL;
}

static void finishAll(LIST_ENTRY* queue, NTSTATUS status, LIST_ENTRY* done) {
    while (!IsListEmpty(queue)) {
        IRP* irp = irpOf(queue->Flink);
        if (claim(irp)) {
            finish(irp, status, done);
        }
    }
}

static void notifyWatchers(LIST_ENTRY* done);

static void NTAPI cancelPending(DEVICE_OBJECT* device, IRP* irp) {
    LIST_ENTRY done;
    KIRQL irql;

    UNREFERENCED_PARAMETER(device);
    IoReleaseCancelSpinLock(irp->CancelIrql);
    InitializeListHead(&done);

    KeAcquireSpinLock(&lock, &irql);
    RemoveEntryList(&irp->Tail.Overlay.ListEntry);
    finish(irp, STATUS_CANCELLED, &done);
    notifyWatchers(&done);
    KeReleaseSpinLock(&lock, irql);
    completeAll(&done);
}

// --- Requests that have ended
// -------------------------------------------------------------------------
//
// Wine names a request that it cancels by its address, and the cancellation may still be on its
// way to the driver when the request ends: it would then meet whichever request is next at that
// address. So a request that was pending is freed only when many later ones have ended.

static NTSTATUS NTAPI keepEnded(DEVICE_OBJECT* device, IRP* irp, void* context) {
    IRP* oldest;
    KIRQL irql;

    UNREFERENCED_PARAMETER(device);
    UNREFERENCED_PARAMETER(context);
    KeAcquireSpinLock(&endedLock, &irql);
    oldest = ended[nextEnded];
    ended[nextEnded] = irp;
    nextEnded = (nextEnded + 1) % ENDED_CAPACITY;
    KeReleaseSpinLock(&endedLock, irql);
    if (oldest != NULL) {
        IoCompleteRequest(oldest, IO_NO_INCREMENT);
    }
    return STATUS_MORE_PROCESSING_REQUIRED;
}

// Has the request kept after Wine's own completion routine has reported its result: with one more
// stack location above the caller's, for which every request has room (STACK_SIZE).
static void keepWhenEnded(IRP* irp) {
    IO_STACK_LOCATION* last = IoGetCurrentIrpStackLocation(irp) + 1;

    ++irp->StackCount;
    last->CompletionRoutine = keepEnded;
    last->Control = SL_INVOKE_ON_SUCCESS | SL_INVOKE_ON_ERROR | SL_INVOKE_ON_CANCEL;
}

static void freeEnded(void) {
    ULONG index;

    for (index = 0; index < ENDED_CAPACITY; ++index) {
        if (ended[index] != NULL) {
            IoCompleteRequest(ended[index], IO_NO_INCREMENT);
            ended[index] = NULL;
        }
    }
}

static NTSTATUS queuePending(IRP* irp, LIST_ENTRY* queue) {
    (void)IoSetCancelRoutine(irp, cancelPending);
    if (irp->Cancel && IoSetCancelRoutine(irp, NULL) != NULL) {
        return STATUS_CANCELLED;
    }
    keepWhenEnded(irp);
    IoMarkIrpPending(irp);
    InsertTailList(queue, &irp->Tail.Overlay.ListEntry);
    return STATUS_PENDING;
}

// --- State watching
// -------------------------------------------------------------------------------

static void getState(ULONG number, struct RidgeVportState* state) {
    const Port* port = ports[number];

    RtlZeroMemory(state, sizeof(*state));
    if (port == NULL || port->owner == NULL) {
        return;
    }
    state->flags = RIDGE_VPORT_PRESENT;
    state->flags |= port->plugged ? RIDGE_VPORT_PLUGGED : 0;
    state->flags |= port->host.file != NULL ? RIDGE_VPORT_HOST_OPEN : 0;
    state->flags |= port->line.file != NULL ? RIDGE_VPORT_LINE_OPEN : 0;
    state->flags |= !IsListEmpty(&port->host.waits) ? RIDGE_VPORT_HOST_WAITS : 0;
    state->flags |= !IsListEmpty(&port->line.waits) ? RIDGE_VPORT_LINE_WAITS : 0;
    state->flags |= !IsListEmpty(&port->host.reads) ? RIDGE_VPORT_HOST_READS : 0;
    state->flags |= !IsListEmpty(&port->line.reads) ? RIDGE_VPORT_LINE_READS : 0;
    state->flags |= !IsListEmpty(&port->host.writes) ? RIDGE_VPORT_HOST_WRITES : 0;
    state->flags |= !IsListEmpty(&port->line.writes) ? RIDGE_VPORT_LINE_WRITES : 0;
    state->flags |= port->host.incoming.count != 0 ? RIDGE_VPORT_HOST_HAS_DATA : 0;
    state->flags |= port->line.incoming.count != 0 ? RIDGE_VPORT_LINE_HAS_DATA : 0;
    state->bytesForHost = port->host.incoming.count;
    state->bytesForLine = port->line.incoming.count;
    state->bytesFromHost = port->host.bytesSent;
    state->bytesFromLine = port->line.bytesSent;
    state->hostLastSent = port->host.lastSent;
    state->lineLastSent = port->line.lastSent;
}

// Gives the state out if it is the awaited one.
static BOOLEAN answerAwaited(IRP* irp) {
    const struct RidgeVportAwaitState* awaited = irp->AssociatedIrp.SystemBuffer;
    struct RidgeVportState state;

    getState(awaited->port, &state);
    if ((state.flags & awaited->mask) != awaited->wanted) {
        return FALSE;
    }
    RtlCopyMemory(irp->AssociatedIrp.SystemBuffer, &state, sizeof(state));
    irp->IoStatus.Information = sizeof(state);
    return TRUE;
}

static void notifyWatchers(LIST_ENTRY* done) {
    LIST_ENTRY* entry = watchers.Flink;

    while (entry != &watchers) {
        IRP* irp = irpOf(entry);
        entry = entry->Flink;
        if (answerAwaited(irp) && claim(irp)) {
            finish(irp, STATUS_SUCCESS, done);
        }
    }
}

// --- Bytes
// ----------------------------------------------------------------------------------------

static ULONG fifoPut(Fifo* fifo, const UCHAR* bytes, ULONG size) {
    ULONG length = min(size, RIDGE_VPORT_FIFO_SIZE - fifo->count);
    ULONG end = (fifo->first + fifo->count) % RIDGE_VPORT_FIFO_SIZE;
    ULONG untilWrap = min(length, RIDGE_VPORT_FIFO_SIZE - end);

    RtlCopyMemory(fifo->bytes + end, bytes, untilWrap);
    RtlCopyMemory(fifo->bytes, bytes + untilWrap, length - untilWrap);
    fifo->count += length;
    return length;
}

static ULONG fifoTake(Fifo* fifo, UCHAR* bytes, ULONG size) {
    ULONG length = min(size, fifo->count);
    ULONG untilWrap = min(length, RIDGE_VPORT_FIFO_SIZE - fifo->first);

    RtlCopyMemory(bytes, fifo->bytes + fifo->first, untilWrap);
    RtlCopyMemory(bytes + untilWrap, fifo->bytes, length - untilWrap);
    fifo->first = (fifo->first + length) % RIDGE_VPORT_FIFO_SIZE;
    fifo->count -= length;
    return length;
}

static void fifoClear(Fifo* fifo) {
    fifo->first = 0;
    fifo->count = 0;
}

static void finishWait(IRP* irp, ULONG events, LIST_ENTRY* done) {
    *(ULONG*)irp->AssociatedIrp.SystemBuffer = events;
    irp->IoStatus.Information = sizeof(ULONG);
    finish(irp, STATUS_SUCCESS, done);
}

static void charsArrived(End* end, LIST_ENTRY* done) {
    if ((end->waitMask & SERIAL_EV_RXCHAR) == 0) {
        return;
    }
    if (!IsListEmpty(&end->waits)) {
        IRP* irp = irpOf(end->waits.Flink);
        if (claim(irp)) {
            finishWait(irp, SERIAL_EV_RXCHAR, done);
            return;
        }
    }
    end->unreportedEvents |= SERIAL_EV_RXCHAR;
}

// A flush travels in the queue of writes as one of no bytes.
static ULONG writeLength(IRP* irp) {
    IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
    return stack->MajorFunction == IRP_MJ_WRITE ? stack->Parameters.Write.Length : 0;
}

// Moves what fits; true when the whole write has been taken. Information counts the bytes taken.
static BOOLEAN advanceWrite(End* from, IRP* irp, LIST_ENTRY* done) {
    End* to = from->peer;
    ULONG length = writeLength(irp);
    ULONG taken = (ULONG)irp->IoStatus.Information;

    if (to->file == NULL) {
        taken = length;
    } else if (taken < length) {
        const UCHAR* bytes = irp->AssociatedIrp.SystemBuffer;
        ULONG moved = fifoPut(&to->incoming, bytes + taken, length - taken);
        taken += moved;
        if (moved != 0) {
            from->bytesSent += moved;
            from->lastSent = KeQueryPerformanceCounter(NULL).QuadPart;
            charsArrived(to, done);
        }
    }
    irp->IoStatus.Information = taken;
    return taken == length;
}

static BOOLEAN readsReturnAtOnce(const End* end) {
    return end->timeouts.ReadIntervalTimeout == MAXULONG;
}

static ULONG readLength(IRP* irp) {
    return IoGetCurrentIrpStackLocation(irp)->Parameters.Read.Length;
}

static BOOLEAN canRead(const End* end, IRP* irp) {
    return readsReturnAtOnce(end) || end->incoming.count >= readLength(irp);
}

static void takeRead(End* end, IRP* irp) {
    irp->IoStatus.Information =
        fifoTake(&end->incoming, irp->AssociatedIrp.SystemBuffer, readLength(irp));
}

// Completes pending reads of `to` and pending writes of its peer as far as bytes and room allow.
static void pump(End* to, LIST_ENTRY* done) {
    End* from = to->peer;
    BOOLEAN progress = TRUE;

    while (progress) {
        progress = FALSE;
        if (!IsListEmpty(&to->reads)) {
            IRP* irp = irpOf(to->reads.Flink);
            if (canRead(to, irp)) {
                // Claimed first: a cancelled read takes no bytes with it.
                if (claim(irp)) {
                    takeRead(to, irp);
                    finish(irp, STATUS_SUCCESS, done);
                }
                progress = TRUE;
            }
        }
        if (!IsListEmpty(&from->writes) && !from->writesHeld) {
            IRP* irp = irpOf(from->writes.Flink);
            ULONG_PTR before = irp->IoStatus.Information;
            if (advanceWrite(from, irp, done)) {
                if (claim(irp)) {
                    finish(irp, STATUS_SUCCESS, done);
                }
                progress = TRUE;
            } else if (irp->IoStatus.Information != before) {
                progress = TRUE;
            }
        }
    }
}

static NTSTATUS startWrite(End* from, IRP* irp, LIST_ENTRY* done) {
    NTSTATUS status = STATUS_SUCCESS;

    if (!IsListEmpty(&from->writes) || from->writesHeld || !advanceWrite(from, irp, done)) {
        status = queuePending(irp, &from->writes);
    }
    pump(from->peer, done);
    return status;
}

static NTSTATUS startRead(End* end, IRP* irp, LIST_ENTRY* done) {
    if (!readsReturnAtOnce(end) && readLength(irp) > RIDGE_VPORT_FIFO_SIZE) {
        return STATUS_INVALID_PARAMETER;
    }
    if (!IsListEmpty(&end->reads) || !canRead(end, irp)) {
        return queuePending(irp, &end->reads);
    }
    takeRead(end, irp);
    pump(end, done);
    return STATUS_SUCCESS;
}

// --- Life of an end
// -------------------------------------------------------------------------------

static void resetSettings(End* end) {
    end->baudRate.BaudRate = 9600;
    end->lineControl.StopBits = STOP_BIT_1;
    end->lineControl.Parity = NO_PARITY;
    end->lineControl.WordLength = 8;
    end->handflow.ControlHandShake = SERIAL_DTR_CONTROL;
    end->handflow.FlowReplace = SERIAL_RTS_CONTROL;
    end->handflow.XonLimit = 2048;
    end->handflow.XoffLimit = 512;
    RtlZeroMemory(&end->chars, sizeof(end->chars));
    end->chars.XonChar = 0x11;
    end->chars.XoffChar = 0x13;
}

static void resetCounts(End* end) {
    end->bytesSent = 0;
    end->lastSent = 0;
}

// A handle carries the status that answers its requests, STATUS_SUCCESS while it is in service.
static void setHandleStatus(FILE_OBJECT* file, NTSTATUS status) {
    file->FsContext2 = (void*)(ULONG_PTR)(ULONG)status;
}

static NTSTATUS handleStatus(const FILE_OBJECT* file) {
    return (NTSTATUS)(ULONG)(ULONG_PTR)file->FsContext2;
}

static void attach(End* end, FILE_OBJECT* file) {
    end->file = file;
    fifoClear(&end->incoming);
    end->waitMask = 0;
    end->unreportedEvents = 0;
    RtlZeroMemory(&end->timeouts, sizeof(end->timeouts));
}

static void detach(End* end, NTSTATUS pendingStatus, NTSTATUS laterStatus, LIST_ENTRY* done) {
    if (end->file == NULL) {
        return;
    }
    setHandleStatus(end->file, laterStatus);
    end->file = NULL;
    finishAll(&end->waits, pendingStatus, done);
    finishAll(&end->reads, pendingStatus, done);
    finishAll(&end->writes, pendingStatus, done);
    fifoClear(&end->incoming);
    pump(end, done);
}

static NTSTATUS takeRefusal(End* end, enum RidgeVportRequest request) {
    Refusal* refusal = &end->port->refusals[request];
    NTSTATUS status = refusal->status;

    if (end != &end->port->host) {
        return STATUS_SUCCESS;
    }
    if (refusal->once) {
        refusal->status = STATUS_SUCCESS;
        refusal->once = FALSE;
    }
    return status;
}

static NTSTATUS openEnd(End* end, FILE_OBJECT* file) {
    NTSTATUS status = STATUS_SUCCESS;

    if (end->port->owner == NULL || (end == &end->port->host && !end->port->plugged)) {
        status = STATUS_OBJECT_NAME_NOT_FOUND;
    } else {
        status = takeRefusal(end, RIDGE_VPORT_REQUEST_OPEN);
    }
    if (NT_SUCCESS(status) && end->file != NULL) {
        status = STATUS_ACCESS_DENIED;
    }
    // Kept because not every system drops a handle whose opening has been refused.
    setHandleStatus(file, status);
    if (NT_SUCCESS(status)) {
        attach(end, file);
    }
    return status;
}

static void closeEnd(End* end, const FILE_OBJECT* file, LIST_ENTRY* done) {
    if (end->file == file) {
        detach(end, STATUS_CANCELLED, STATUS_FILE_CLOSED, done);
    }
}

// --- Serial requests
// ------------------------------------------------------------------------------

static NTSTATUS giveOut(IRP* irp, const void* record, ULONG size) {
    IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);

    if (stack->Parameters.DeviceIoControl.OutputBufferLength < size) {
        return STATUS_BUFFER_TOO_SMALL;
    }
    RtlCopyMemory(irp->AssociatedIrp.SystemBuffer, record, size);
    irp->IoStatus.Information = size;
    return STATUS_SUCCESS;
}

static NTSTATUS takeIn(IRP* irp, void* record, ULONG size) {
    IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);

    if (stack->Parameters.DeviceIoControl.InputBufferLength < size) {
        return STATUS_INVALID_PARAMETER;
    }
    RtlCopyMemory(record, irp->AssociatedIrp.SystemBuffer, size);
    return STATUS_SUCCESS;
}

static NTSTATUS setBaudRate(End* end, IRP* irp) {
    SERIAL_BAUD_RATE baudRate;
    NTSTATUS status = takeIn(irp, &baudRate, sizeof(baudRate));

    if (NT_SUCCESS(status) && baudRate.BaudRate == 0) {
        status = STATUS_INVALID_PARAMETER;
    }
    if (NT_SUCCESS(status)) {
        end->baudRate = baudRate;
    }
    return status;
}

static NTSTATUS setLineControl(End* end, IRP* irp) {
    SERIAL_LINE_CONTROL control;
    NTSTATUS status = takeIn(irp, &control, sizeof(control));

    if (NT_SUCCESS(status) && (control.WordLength < 5 || control.WordLength > 8 ||
                               control.Parity > SPACE_PARITY || control.StopBits > STOP_BITS_2)) {
        status = STATUS_INVALID_PARAMETER;
    }
    if (NT_SUCCESS(status)) {
        end->lineControl = control;
    }
    return status;
}

// Reads either return at once with what is there or wait for all they asked for; writes wait.
static NTSTATUS setTimeouts(End* end, IRP* irp, LIST_ENTRY* done) {
    SERIAL_TIMEOUTS timeouts;
    NTSTATUS status = takeIn(irp, &timeouts, sizeof(timeouts));

    if (!NT_SUCCESS(status)) {
        return status;
    }
    if ((timeouts.ReadIntervalTimeout != 0 && timeouts.ReadIntervalTimeout != MAXULONG) ||
        timeouts.ReadTotalTimeoutMultiplier != 0 || timeouts.ReadTotalTimeoutConstant != 0 ||
        timeouts.WriteTotalTimeoutMultiplier != 0 || timeouts.WriteTotalTimeoutConstant != 0) {
        return STATUS_NOT_SUPPORTED;
    }
    end->timeouts = timeouts;
    pump(end, done);
    return STATUS_SUCCESS;
}

static NTSTATUS setWaitMask(End* end, IRP* irp, LIST_ENTRY* done) {
    ULONG mask;
    NTSTATUS status = takeIn(irp, &mask, sizeof(mask));

    if (!NT_SUCCESS(status)) {
        return status;
    }
    end->waitMask = mask;
    end->unreportedEvents &= mask;
    if (!IsListEmpty(&end->waits)) {
        IRP* wait = irpOf(end->waits.Flink);
        if (claim(wait)) {
            finishWait(wait, 0, done);
        }
    }
    return STATUS_SUCCESS;
}

static NTSTATUS waitOnMask(End* end, IRP* irp) {
    IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
    NTSTATUS status = STATUS_SUCCESS;

    if (stack->Parameters.DeviceIoControl.OutputBufferLength < sizeof(ULONG)) {
        return STATUS_BUFFER_TOO_SMALL;
    }
    if (end->waitMask == 0 || !IsListEmpty(&end->waits)) {
        return STATUS_INVALID_PARAMETER;
    }
    if (end->unreportedEvents == 0) {
        return queuePending(irp, &end->waits);
    }
    status = giveOut(irp, &end->unreportedEvents, sizeof(end->unreportedEvents));
    end->unreportedEvents = 0;
    return status;
}

// There is no transmit queue to clear: bytes taken from a write are already at the other end.
static NTSTATUS purge(End* end, IRP* irp, LIST_ENTRY* done) {
    ULONG what;
    NTSTATUS status = takeIn(irp, &what, sizeof(what));

    if (!NT_SUCCESS(status)) {
        return status;
    }
    if (what == 0 || (what & ~(ULONG)(SERIAL_PURGE_TXABORT | SERIAL_PURGE_RXABORT |
                                      SERIAL_PURGE_TXCLEAR | SERIAL_PURGE_RXCLEAR)) != 0) {
        return STATUS_INVALID_PARAMETER;
    }
    if ((what & SERIAL_PURGE_TXABORT) != 0) {
        finishAll(&end->writes, STATUS_CANCELLED, done);
    }
    if ((what & SERIAL_PURGE_RXABORT) != 0) {
        finishAll(&end->reads, STATUS_CANCELLED, done);
    }
    if ((what & SERIAL_PURGE_RXCLEAR) != 0) {
        fifoClear(&end->incoming);
        pump(end, done);
    }
    return STATUS_SUCCESS;
}

static NTSTATUS getCommStatus(const End* end, IRP* irp) {
    SERIAL_STATUS status;
    const LIST_ENTRY* entry;

    RtlZeroMemory(&status, sizeof(status));
    status.AmountInInQueue = end->incoming.count;
    for (entry = end->writes.Flink; entry != &end->writes; entry = entry->Flink) {
        IRP* write = CONTAINING_RECORD(entry, IRP, Tail.Overlay.ListEntry);
        status.AmountInOutQueue += writeLength(write) - (ULONG)write->IoStatus.Information;
    }
    return giveOut(irp, &status, sizeof(status));
}

static NTSTATUS getProperties(IRP* irp) {
    SERIAL_COMMPROP properties;

    RtlZeroMemory(&properties, sizeof(properties));
    properties.PacketLength = sizeof(properties);
    properties.PacketVersion = 2;
    properties.ServiceMask = SERIAL_SP_SERIALCOMM;
    properties.MaxBaud = SERIAL_BAUD_USER;
    properties.ProvSubType = SERIAL_SP_RS232;
    properties.ProvCapabilities = SERIAL_PCF_INTTIMEOUTS;
    properties.SettableParams = SERIAL_SP_PARITY | SERIAL_SP_BAUD | SERIAL_SP_DATABITS |
                                SERIAL_SP_STOPBITS | SERIAL_SP_HANDSHAKING;
    properties.SettableBaud = SERIAL_BAUD_USER;
    properties.SettableData =
        SERIAL_DATABITS_5 | SERIAL_DATABITS_6 | SERIAL_DATABITS_7 | SERIAL_DATABITS_8;
    properties.SettableStopParity = SERIAL_STOPBITS_10 | SERIAL_STOPBITS_15 | SERIAL_STOPBITS_20 |
                                    SERIAL_PARITY_NONE | SERIAL_PARITY_ODD | SERIAL_PARITY_EVEN |
                                    SERIAL_PARITY_MARK | SERIAL_PARITY_SPACE;
    properties.CurrentRxQueue = RIDGE_VPORT_FIFO_SIZE;
    return giveOut(irp, &properties, sizeof(properties));
}

// The kind of request a control code belongs to; RIDGE_VPORT_REQUEST_COUNT if to none.
static enum RidgeVportRequest requestKind(ULONG code) {
    switch (code) {
    case IOCTL_SERIAL_PURGE:
        return RIDGE_VPORT_REQUEST_PURGE;
    case IOCTL_SERIAL_GET_BAUD_RATE:
    case IOCTL_SERIAL_GET_LINE_CONTROL:
    case IOCTL_SERIAL_GET_HANDFLOW:
    case IOCTL_SERIAL_GET_CHARS:
        return RIDGE_VPORT_REQUEST_GET_STATE;
    case IOCTL_SERIAL_SET_BAUD_RATE:
    case IOCTL_SERIAL_SET_LINE_CONTROL:
    case IOCTL_SERIAL_SET_HANDFLOW:
    case IOCTL_SERIAL_SET_CHARS:
        return RIDGE_VPORT_REQUEST_SET_STATE;
    case IOCTL_SERIAL_SET_TIMEOUTS:
        return RIDGE_VPORT_REQUEST_SET_TIMEOUTS;
    case IOCTL_SERIAL_SET_WAIT_MASK:
        return RIDGE_VPORT_REQUEST_SET_MASK;
    case IOCTL_SERIAL_WAIT_ON_MASK:
        return RIDGE_VPORT_REQUEST_WAIT_ON_MASK;
    default:
        return RIDGE_VPORT_REQUEST_COUNT;
    }
}

static NTSTATUS serialControl(End* end, IRP* irp, ULONG code, LIST_ENTRY* done) {
    const ULONG noModemLines = 0;

    switch (code) {
    case IOCTL_SERIAL_GET_BAUD_RATE:
        return giveOut(irp, &end->baudRate, sizeof(end->baudRate));
    case IOCTL_SERIAL_SET_BAUD_RATE:
        return setBaudRate(end, irp);
    case IOCTL_SERIAL_GET_LINE_CONTROL:
        return giveOut(irp, &end->lineControl, sizeof(end->lineControl));
    case IOCTL_SERIAL_SET_LINE_CONTROL:
        return setLineControl(end, irp);
    case IOCTL_SERIAL_GET_HANDFLOW:
        return giveOut(irp, &end->handflow, sizeof(end->handflow));
    case IOCTL_SERIAL_SET_HANDFLOW:
        return takeIn(irp, &end->handflow, sizeof(end->handflow));
    case IOCTL_SERIAL_GET_CHARS:
        return giveOut(irp, &end->chars, sizeof(end->chars));
    case IOCTL_SERIAL_SET_CHARS:
        return takeIn(irp, &end->chars, sizeof(end->chars));
    case IOCTL_SERIAL_GET_TIMEOUTS:
        return giveOut(irp, &end->timeouts, sizeof(end->timeouts));
    case IOCTL_SERIAL_SET_TIMEOUTS:
        return setTimeouts(end, irp, done);
    case IOCTL_SERIAL_GET_WAIT_MASK:
        return giveOut(irp, &end->waitMask, sizeof(end->waitMask));
    case IOCTL_SERIAL_SET_WAIT_MASK:
        return setWaitMask(end, irp, done);
    case IOCTL_SERIAL_WAIT_ON_MASK:
        return waitOnMask(end, irp);
    case IOCTL_SERIAL_PURGE:
        return purge(end, irp, done);
    case IOCTL_SERIAL_GET_COMMSTATUS:
        return getCommStatus(end, irp);
    case IOCTL_SERIAL_GET_PROPERTIES:
        return getProperties(irp);
    case IOCTL_SERIAL_GET_MODEMSTATUS:
    case IOCTL_SERIAL_GET_DTRRTS:
        return giveOut(irp, &noModemLines, sizeof(noModemLines));
    case IOCTL_SERIAL_SET_QUEUE_SIZE:
    case IOCTL_SERIAL_SET_DTR:
    case IOCTL_SERIAL_CLR_DTR:
    case IOCTL_SERIAL_SET_RTS:
    case IOCTL_SERIAL_CLR_RTS:
        return STATUS_SUCCESS;
    default:
        return STATUS_INVALID_DEVICE_REQUEST;
    }
}

static NTSTATUS getOpenResult(IRP* irp) {
    struct RidgeVportOpenResult result;

    result.signature = RIDGE_VPORT_SIGNATURE;
    result.status = (ULONG)handleStatus(IoGetCurrentIrpStackLocation(irp)->FileObject);
    return giveOut(irp, &result, sizeof(result));
}

static NTSTATUS endControl(End* end, IRP* irp, LIST_ENTRY* done) {
    IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
    ULONG code = stack->Parameters.DeviceIoControl.IoControlCode;
    enum RidgeVportRequest kind = requestKind(code);
    NTSTATUS status;

    if (code == RIDGE_VPORT_GET_OPEN_RESULT) {
        return getOpenResult(irp);
    }
    status = handleStatus(stack->FileObject);
    if (NT_SUCCESS(status) && kind != RIDGE_VPORT_REQUEST_COUNT) {
        status = takeRefusal(end, kind);
    }
    return NT_SUCCESS(status) ? serialControl(end, irp, code, done) : status;
}

static NTSTATUS endTransfer(End* end, IRP* irp, LIST_ENTRY* done) {
    IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
    BOOLEAN reading = stack->MajorFunction == IRP_MJ_READ;
    NTSTATUS status = handleStatus(stack->FileObject);

    if (NT_SUCCESS(status) && stack->MajorFunction != IRP_MJ_FLUSH_BUFFERS) {
        status = takeRefusal(end, reading ? RIDGE_VPORT_REQUEST_READ : RIDGE_VPORT_REQUEST_WRITE);
    }
    if (!NT_SUCCESS(status)) {
        return status;
    }
    return reading ? startRead(end, irp, done) : startWrite(end, irp, done);
}

// --- Names and devices
// ----------------------------------------------------------------------------

typedef struct Name {
    WCHAR characters[NAME_CAPACITY];
    UNICODE_STRING text;
} Name;

static void makeName(Name* name, const WCHAR* prefix, ULONG number) {
    WCHAR digitCharacters[12];
    UNICODE_STRING digits = {0, sizeof(digitCharacters), digitCharacters};

    name->text.Length = 0;
    name->text.MaximumLength = sizeof(name->characters);
    name->text.Buffer = name->characters;
    RtlIntegerToUnicodeString(number, 10, &digits);
    RtlAppendUnicodeToString(&name->text, prefix);
    RtlAppendUnicodeStringToString(&name->text, &digits);
}

static NTSTATUS linkEnd(ULONG number, const WCHAR* link, const WCHAR* deviceName) {
    Name from;
    Name to;

    makeName(&from, link, number);
    makeName(&to, deviceName, number);
    return IoCreateSymbolicLink(&from.text, &to.text);
}

static void unlinkEnd(ULONG number, const WCHAR* link) {
    Name name;

    makeName(&name, link, number);
    IoDeleteSymbolicLink(&name.text);
}

static NTSTATUS linkHost(ULONG number) {
    return linkEnd(number, L"\\DosDevices\\COM", L"\\Device\\RidgeHost");
}

static NTSTATUS linkLine(ULONG number) {
    return linkEnd(number, L"\\DosDevices\\RidgeLine", L"\\Device\\RidgeLine");
}

static void unlinkHost(ULONG number) {
    unlinkEnd(number, L"\\DosDevices\\COM");
}

static void unlinkLine(ULONG number) {
    unlinkEnd(number, L"\\DosDevices\\RidgeLine");
}

static NTSTATUS createEndDevice(End* end, const WCHAR* prefix) {
    Name name;
    NTSTATUS status;

    makeName(&name, prefix, end->port->number);
    status = IoCreateDevice(driver, sizeof(Extension), &name.text, FILE_DEVICE_SERIAL_PORT, 0,
                            FALSE, &end->device);
    if (NT_SUCCESS(status)) {
        ((Extension*)end->device->DeviceExtension)->end = end;
        end->device->StackSize = STACK_SIZE;
        end->device->Flags |= DO_BUFFERED_IO;
        end->device->Flags &= ~(ULONG)DO_DEVICE_INITIALIZING;
    }
    return status;
}

static void initialiseEnd(End* end, Port* port, End* peer) {
    end->port = port;
    end->peer = peer;
    InitializeListHead(&end->reads);
    InitializeListHead(&end->writes);
    InitializeListHead(&end->waits);
}

static void freeBuffers(Port* port) {
    if (port->host.incoming.bytes != NULL) {
        ExFreePoolWithTag(port->host.incoming.bytes, POOL_TAG);
        port->host.incoming.bytes = NULL;
    }
    if (port->line.incoming.bytes != NULL) {
        ExFreePoolWithTag(port->line.incoming.bytes, POOL_TAG);
        port->line.incoming.bytes = NULL;
    }
}

static NTSTATUS allocateBuffers(Port* port) {
    port->host.incoming.bytes =
        ExAllocatePoolWithTag(NonPagedPool, RIDGE_VPORT_FIFO_SIZE, POOL_TAG);
    port->line.incoming.bytes =
        ExAllocatePoolWithTag(NonPagedPool, RIDGE_VPORT_FIFO_SIZE, POOL_TAG);
    if (port->host.incoming.bytes == NULL || port->line.incoming.bytes == NULL) {
        freeBuffers(port);
        return STATUS_INSUFFICIENT_RESOURCES;
    }
    return STATUS_SUCCESS;
}

static void deletePortObject(Port* port) {
    if (port->host.device != NULL) {
        IoDeleteDevice(port->host.device);
    }
    if (port->line.device != NULL) {
        IoDeleteDevice(port->line.device);
    }
    freeBuffers(port);
    ExFreePoolWithTag(port, POOL_TAG);
}

static NTSTATUS makePortObject(ULONG number, Port** result) {
    Port* port = ExAllocatePoolWithTag(NonPagedPool, sizeof(*port), POOL_TAG);
    NTSTATUS status;

    if (port == NULL) {
        return STATUS_INSUFFICIENT_RESOURCES;
    }
    RtlZeroMemory(port, sizeof(*port));
    port->number = number;
    initialiseEnd(&port->host, port, &port->line);
    initialiseEnd(&port->line, port, &port->host);
    status = createEndDevice(&port->host, L"\\Device\\RidgeHost");
    if (NT_SUCCESS(status)) {
        status = createEndDevice(&port->line, L"\\Device\\RidgeLine");
    }
    if (!NT_SUCCESS(status)) {
        deletePortObject(port);
        return status;
    }
    *result = port;
    return STATUS_SUCCESS;
}

// --- Control requests
// ----------------------------------------------------------------------------- These run under
// portsMutex and take the lock themselves where ends are touched.

static NTSTATUS createPort(ULONG number, FILE_OBJECT* owner) {
    LIST_ENTRY done;
    KIRQL irql;
    Port* port = ports[number];
    NTSTATUS status;

    if (port == NULL) {
        status = makePortObject(number, &port);
        if (!NT_SUCCESS(status)) {
            return status;
        }
        ports[number] = port;
    }
    if (port->owner != NULL) {
        return STATUS_OBJECT_NAME_COLLISION;
    }
    status = allocateBuffers(port);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    InitializeListHead(&done);
    KeAcquireSpinLock(&lock, &irql);
    RtlZeroMemory(port->refusals, sizeof(port->refusals));
    port->host.writesHeld = FALSE;
    resetSettings(&port->host);
    resetSettings(&port->line);
    resetCounts(&port->host);
    resetCounts(&port->line);
    KeReleaseSpinLock(&lock, irql);

    status = linkLine(number);
    if (NT_SUCCESS(status)) {
        status = linkHost(number);
        if (!NT_SUCCESS(status)) {
            unlinkLine(number);
        }
    }
    if (!NT_SUCCESS(status)) {
        freeBuffers(port);
        return status;
    }
    KeAcquireSpinLock(&lock, &irql);
    port->owner = owner;
    port->plugged = TRUE;
    notifyWatchers(&done);
    KeReleaseSpinLock(&lock, irql);
    completeAll(&done);
    return STATUS_SUCCESS;
}

static void removePort(Port* port) {
    LIST_ENTRY done;
    KIRQL irql;

    if (port->plugged) {
        unlinkHost(port->number);
    }
    unlinkLine(port->number);

    InitializeListHead(&done);
    KeAcquireSpinLock(&lock, &irql);
    port->owner = NULL;
    port->plugged = FALSE;
    detach(&port->host, STATUS_CANCELLED, STATUS_DEVICE_NOT_CONNECTED, &done);
    detach(&port->line, STATUS_CANCELLED, STATUS_DEVICE_NOT_CONNECTED, &done);
    notifyWatchers(&done);
    KeReleaseSpinLock(&lock, irql);
    freeBuffers(port);
    completeAll(&done);
}

static NTSTATUS unplugPort(Port* port, const struct RidgeVportUnplug* unplug) {
    LIST_ENTRY done;
    KIRQL irql;

    if (!NT_ERROR((NTSTATUS)unplug->pendingStatus) || !NT_ERROR((NTSTATUS)unplug->laterStatus)) {
        return STATUS_INVALID_PARAMETER;
    }
    if (!port->plugged) {
        return STATUS_INVALID_DEVICE_STATE;
    }
    unlinkHost(port->number);

    InitializeListHead(&done);
    KeAcquireSpinLock(&lock, &irql);
    port->plugged = FALSE;
    fifoClear(&port->line.incoming);
    detach(&port->host, (NTSTATUS)unplug->pendingStatus, (NTSTATUS)unplug->laterStatus, &done);
    notifyWatchers(&done);
    KeReleaseSpinLock(&lock, irql);
    completeAll(&done);
    return STATUS_SUCCESS;
}

static NTSTATUS replugPort(Port* port) {
    LIST_ENTRY done;
    KIRQL irql;
    NTSTATUS status;

    if (port->plugged) {
        return STATUS_INVALID_DEVICE_STATE;
    }
    status = linkHost(port->number);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    InitializeListHead(&done);
    KeAcquireSpinLock(&lock, &irql);
    port->plugged = TRUE;
    notifyWatchers(&done);
    KeReleaseSpinLock(&lock, irql);
    completeAll(&done);
    return STATUS_SUCCESS;
}

static NTSTATUS refuse(Port* port, const struct RidgeVportRefuse* refusal) {
    KIRQL irql;

    if (refusal->request >= RIDGE_VPORT_REQUEST_COUNT ||
        (refusal->status != 0 && !NT_ERROR((NTSTATUS)refusal->status))) {
        return STATUS_INVALID_PARAMETER;
    }
    KeAcquireSpinLock(&lock, &irql);
    port->refusals[refusal->request].status = (NTSTATUS)refusal->status;
    port->refusals[refusal->request].once = refusal->once != 0;
    KeReleaseSpinLock(&lock, irql);
    return STATUS_SUCCESS;
}

static NTSTATUS holdWrites(Port* port, BOOLEAN hold) {
    LIST_ENTRY done;
    KIRQL irql;

    InitializeListHead(&done);
    KeAcquireSpinLock(&lock, &irql);
    port->host.writesHeld = hold;
    pump(&port->line, &done);
    notifyWatchers(&done);
    KeReleaseSpinLock(&lock, irql);
    completeAll(&done);
    return STATUS_SUCCESS;
}

static NTSTATUS abortWait(Port* port, NTSTATUS waitStatus) {
    LIST_ENTRY done;
    KIRQL irql;
    NTSTATUS status = STATUS_NOT_FOUND;

    if (!NT_ERROR(waitStatus)) {
        return STATUS_INVALID_PARAMETER;
    }
    InitializeListHead(&done);
    KeAcquireSpinLock(&lock, &irql);
    if (!IsListEmpty(&port->host.waits)) {
        finishAll(&port->host.waits, waitStatus, &done);
        status = STATUS_SUCCESS;
    }
    notifyWatchers(&done);
    KeReleaseSpinLock(&lock, irql);
    completeAll(&done);
    return status;
}

static NTSTATUS giveState(IRP* irp, ULONG number) {
    struct RidgeVportState state;
    KIRQL irql;

    KeAcquireSpinLock(&lock, &irql);
    getState(number, &state);
    KeReleaseSpinLock(&lock, irql);
    return giveOut(irp, &state, sizeof(state));
}

static NTSTATUS awaitState(IRP* irp) {
    IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
    NTSTATUS status;
    KIRQL irql;

    if (stack->Parameters.DeviceIoControl.OutputBufferLength < sizeof(struct RidgeVportState)) {
        return STATUS_BUFFER_TOO_SMALL;
    }
    KeAcquireSpinLock(&lock, &irql);
    status = answerAwaited(irp) ? STATUS_SUCCESS : queuePending(irp, &watchers);
    KeReleaseSpinLock(&lock, irql);
    return status;
}

// Every record about a port begins with its number.
typedef union PortRecord {
    ULONG number;
    struct RidgeVportAwaitState awaitState;
    struct RidgeVportRefuse refuse;
    struct RidgeVportHoldWrites holdWrites;
    struct RidgeVportAbortWait abortWait;
    struct RidgeVportUnplug unplug;
} PortRecord;

static ULONG recordSize(ULONG code) {
    switch (code) {
    case RIDGE_VPORT_AWAIT_STATE:
        return sizeof(struct RidgeVportAwaitState);
    case RIDGE_VPORT_REFUSE:
        return sizeof(struct RidgeVportRefuse);
    case RIDGE_VPORT_HOLD_WRITES:
        return sizeof(struct RidgeVportHoldWrites);
    case RIDGE_VPORT_ABORT_WAIT:
        return sizeof(struct RidgeVportAbortWait);
    case RIDGE_VPORT_UNPLUG:
        return sizeof(struct RidgeVportUnplug);
    default:
        return sizeof(struct RidgeVportPort);
    }
}

static NTSTATUS existingPortControl(Port* port, ULONG code, const PortRecord* record) {
    if (port == NULL || port->owner == NULL) {
        return STATUS_OBJECT_NAME_NOT_FOUND;
    }
    switch (code) {
    case RIDGE_VPORT_REMOVE:
        removePort(port);
        return STATUS_SUCCESS;
    case RIDGE_VPORT_REFUSE:
        return refuse(port, &record->refuse);
    case RIDGE_VPORT_HOLD_WRITES:
        return holdWrites(port, record->holdWrites.hold != 0);
    case RIDGE_VPORT_ABORT_WAIT:
        return abortWait(port, (NTSTATUS)record->abortWait.status);
    case RIDGE_VPORT_UNPLUG:
        return unplugPort(port, &record->unplug);
    case RIDGE_VPORT_REPLUG:
        return replugPort(port);
    default:
        return STATUS_INVALID_DEVICE_REQUEST;
    }
}

static NTSTATUS driverControl(IRP* irp) {
    const ULONG version = RIDGE_VPORT_VERSION;
    IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
    ULONG code = stack->Parameters.DeviceIoControl.IoControlCode;
    PortRecord record;
    NTSTATUS status;

    if (code == RIDGE_VPORT_GET_VERSION) {
        return giveOut(irp, &version, sizeof(version));
    }
    RtlZeroMemory(&record, sizeof(record));
    status = takeIn(irp, &record, recordSize(code));
    if (!NT_SUCCESS(status)) {
        return status;
    }
    if (record.number < RIDGE_VPORT_FIRST || record.number > RIDGE_VPORT_LAST) {
        return STATUS_INVALID_PARAMETER;
    }
    switch (code) {
    case RIDGE_VPORT_GET_STATE:
        return giveState(irp, record.number);
    case RIDGE_VPORT_AWAIT_STATE:
        return awaitState(irp);
    case RIDGE_VPORT_CREATE:
        return createPort(record.number, stack->FileObject);
    default:
        return existingPortControl(ports[record.number], code, &record);
    }
}

// The handle's own watchers are cancelled, its ports removed.
static void closeControl(const FILE_OBJECT* file) {
    LIST_ENTRY done;
    LIST_ENTRY* entry;
    KIRQL irql;
    ULONG number;

    InitializeListHead(&done);
    KeAcquireSpinLock(&lock, &irql);
    entry = watchers.Flink;
    while (entry != &watchers) {
        IRP* irp = irpOf(entry);
        entry = entry->Flink;
        if (IoGetCurrentIrpStackLocation(irp)->FileObject == file && claim(irp)) {
            finish(irp, STATUS_CANCELLED, &done);
        }
    }
    KeReleaseSpinLock(&lock, irql);
    completeAll(&done);

    for (number = RIDGE_VPORT_FIRST; number <= RIDGE_VPORT_LAST; ++number) {
        if (ports[number] != NULL && ports[number]->owner == file) {
            removePort(ports[number]);
        }
    }
}

// --- Dispatch
// -------------------------------------------------------------------------------------

static NTSTATUS controlDispatch(IRP* irp) {
    IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
    NTSTATUS status = STATUS_SUCCESS;

    KeWaitForSingleObject(&portsMutex, Executive, KernelMode, FALSE, NULL);
    switch (stack->MajorFunction) {
    case IRP_MJ_CREATE:
        break;
    case IRP_MJ_CLEANUP:
    case IRP_MJ_CLOSE:
        closeControl(stack->FileObject);
        break;
    case IRP_MJ_DEVICE_CONTROL:
        status = driverControl(irp);
        break;
    default:
        status = STATUS_INVALID_DEVICE_REQUEST;
        break;
    }
    KeReleaseMutex(&portsMutex, FALSE);
    return status;
}

static NTSTATUS endDispatch(End* end, IRP* irp) {
    IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
    NTSTATUS status = STATUS_SUCCESS;
    LIST_ENTRY done;
    KIRQL irql;

    InitializeListHead(&done);
    KeAcquireSpinLock(&lock, &irql);
    switch (stack->MajorFunction) {
    case IRP_MJ_CREATE:
        status = openEnd(end, stack->FileObject);
        break;
    case IRP_MJ_CLEANUP:
    case IRP_MJ_CLOSE:
        closeEnd(end, stack->FileObject, &done);
        break;
    case IRP_MJ_READ:
    case IRP_MJ_WRITE:
    case IRP_MJ_FLUSH_BUFFERS:
        status = endTransfer(end, irp, &done);
        break;
    case IRP_MJ_DEVICE_CONTROL:
        status = endControl(end, irp, &done);
        break;
    default:
        status = STATUS_INVALID_DEVICE_REQUEST;
        break;
    }
    notifyWatchers(&done);
    KeReleaseSpinLock(&lock, irql);
    completeAll(&done);
    return status;
}

static NTSTATUS NTAPI dispatch(DEVICE_OBJECT* device, IRP* irp) {
    End* end = ((Extension*)device->DeviceExtension)->end;
    NTSTATUS status;

    irp->IoStatus.Information = 0;
    status = end != NULL ? endDispatch(end, irp) : controlDispatch(irp);
    if (status != STATUS_PENDING) {
        irp->IoStatus.Status = status;
        IoCompleteRequest(irp, IO_NO_INCREMENT);
    }
    return status;
}

static void NTAPI unload(DRIVER_OBJECT* object) {
    UNICODE_STRING link = RTL_CONSTANT_STRING(L"\\DosDevices\\RidgeVport");
    ULONG number;

    IoDeleteSymbolicLink(&link);
    for (number = RIDGE_VPORT_FIRST; number <= RIDGE_VPORT_LAST; ++number) {
        Port* port = ports[number];
        if (port != NULL) {
            if (port->owner != NULL) {
                removePort(port);
            }
            deletePortObject(port);
        }
    }
    freeEnded();
    // Only the control device is left.
    IoDeleteDevice(object->DeviceObject);
}

NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* object, UNICODE_STRING* registryPath);

NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* object, UNICODE_STRING* registryPath) {
    UNICODE_STRING name = RTL_CONSTANT_STRING(L"\\Device\\RidgeVport");
    UNICODE_STRING link = RTL_CONSTANT_STRING(L"\\DosDevices\\RidgeVport");
    DEVICE_OBJECT* device;
    NTSTATUS status;

    UNREFERENCED_PARAMETER(registryPath);
    driver = object;
    KeInitializeMutex(&portsMutex, 0);
    KeInitializeSpinLock(&lock);
    KeInitializeSpinLock(&endedLock);
    InitializeListHead(&watchers);

    object->DriverUnload = unload;
    object->MajorFunction[IRP_MJ_CREATE] = dispatch;
    object->MajorFunction[IRP_MJ_CLEANUP] = dispatch;
    object->MajorFunction[IRP_MJ_CLOSE] = dispatch;
    object->MajorFunction[IRP_MJ_READ] = dispatch;
    object->MajorFunction[IRP_MJ_WRITE] = dispatch;
    object->MajorFunction[IRP_MJ_FLUSH_BUFFERS] = dispatch;
    object->MajorFunction[IRP_MJ_DEVICE_CONTROL] = dispatch;

    status =
        IoCreateDevice(object, sizeof(Extension), &name, FILE_DEVICE_UNKNOWN, 0, FALSE, &device);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    ((Extension*)device->DeviceExtension)->end = NULL;
    device->StackSize = STACK_SIZE;
    status = IoCreateSymbolicLink(&link, &name);
    if (!NT_SUCCESS(status)) {
        IoDeleteDevice(device);
        return status;
    }
    device->Flags |= DO_BUFFERED_IO;
    device->Flags &= ~(ULONG)DO_DEVICE_INITIALIZING;
    return STATUS_SUCCESS;
}
