// Numbers of the window's parts, for the resource compiler and the program.
#pragma once

#define IDD_MAIN 100
#define IDR_KEYS 101

#define IDC_STATIC (-1)
#define IDC_SCANNERS 1001
#define IDC_REFRESH 1002
#define IDC_CONNECT 1003
#define IDC_DISCONNECT 1004
#define IDC_CAPTURE 1005
#define IDC_STREAM 1006
#define IDC_ASSISTED 1007
#define IDC_ACCEPT 1008
#define IDC_REJECT 1009
#define IDC_STOP 1010
#define IDC_LIVE_CAPTION 1011
#define IDC_LIVE 1012
#define IDC_CAPTURED_CAPTION 1013
#define IDC_CAPTURED 1014
#define IDC_EVENTS_CAPTION 1015
#define IDC_EVENTS 1016
#define IDC_LOG_CAPTION 1017
#define IDC_LOG 1018
#define IDC_STATUS 1019
