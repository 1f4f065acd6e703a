set(ZL_CONNECTION_SOURCES
  connection/GMSDASHError.h
  connection/GMSUserDefaults.h
  connection/GMSDASHRequest.h connection/GMSDASHRequest.cpp
  connection/GMSDASHProtobufferRequest.h connection/GMSDASHProtobufferRequest.cpp
  connection/GMSDASHBlocksRequest.h connection/GMSDASHBlocksRequest.cpp
  connection/GMSDASHClientIdentity.h connection/GMSDASHClientIdentity.cpp
  connection/GMSXGeoHeaderEncoder.h connection/GMSXGeoHeaderEncoder.cpp
  connection/GMSDASHIdentityRequests.h connection/GMSDASHIdentityRequests.cpp
  connection/GMSDASHStreamingReply.h connection/GMSDASHStreamingReply.cpp
  connection/GMSDASHGzipInflater.h connection/GMSDASHGzipInflater.cpp
  connection/GMSDASHQuotaEventRequest.h connection/GMSDASHQuotaEventRequest.cpp
  connection/GMSDASHConnection.h connection/GMSDASHConnection.cpp)
