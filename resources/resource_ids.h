#pragma once

/* Numbers of the library's resources. Read by the resource compiler as well: plain defines only. */

#define ZELTO_PAGE_ZTNA 1004 /* RT_HTML: answer to a browser that runs in the user's session */
#define ZELTO_PAGE_VPN 1005  /* RT_HTML: answer to a browser of the SSL-VPN and IPsec sign-ins */
