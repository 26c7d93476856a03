#include "upnp/soap_control.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>

#include "core/settings.h"
#include "core/xml.h"
#include "db/store.h"
#include "support/handler_call.h"
#include "upnp/soap.h"

using testing::HasSubstr;

namespace {

HandlerAnswer post(const std::string& header_lines, const std::string& arguments) {
    HttpRequest request = request_for("/ContentDirectory/Control", header_lines, kPost);
    request.content =
        "<?xml version=\"1.0\"?>\r\n<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\">\r\n"
        "<s:Body><u:Action xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">\r\n" +
        arguments + "\r\n</u:Action></s:Body></s:Envelope>\r\n";
    return call_handler(handle_soap_control, std::move(request));
}

std::string control(const std::string& action, const std::string& arguments = {}) {
    return post("SOAPACTION: \"urn:schemas-upnp-org:service:" + action + "\"\r\n", arguments).body;
}

const std::string kBrowseMetadata = "<BrowseFlag>BrowseMetadata</BrowseFlag><ObjectID>0</ObjectID><Filter>*</Filter>";
const std::string kBrowseChildren =
    "<ObjectID>0</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag><Filter>*</Filter>"
    "<StartingIndex>1</StartingIndex><RequestedCount>1</RequestedCount><SortCriteria></SortCriteria>"
    "<StartingLetter>A</StartingLetter>";

class SoapControl : public testing::Test {
protected:
    SoapControl() {
        settings_set_defaults();
        db_create();
    }
    ~SoapControl() override {
        db_destroy();
        settings_free_all();
    }
};

}  // namespace

TEST(SoapFault, CarriesTheStatusTypeAndTextOfItsCode) {
    static int asked;
    struct {
        int code;
        const char *status_line, *type, *error;
    } constexpr kCases[] = {
        {501, "HTTP/1.1 200 OK", "text/xml; charset=\"UTF-8\"",
         "501</errorCode>\n     <errorDescription>Action Failed<"},
        {718, "HTTP/1.1 500 Internal Server Error", "text/html; charset=UTF-8",
         "718</errorCode>\n     <errorDescription>Invalid InstanceID<"},
        {700, "HTTP/1.1 500 Internal Server Error", "text/html; charset=UTF-8",
         "604</errorCode>\n     <errorDescription>Human Intervention Required<"},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(asked = row.code);
        const auto answer = call_handler([](HttpRequest& request) { return soap_send_fault(request, asked); }, "/");
        EXPECT_EQ(answer.status_line, row.status_line);
        EXPECT_EQ(answer.header("Content-Type"), row.type);
        EXPECT_THAT(answer.body, HasSubstr(std::string{"<errorCode>"} + row.error));
        EXPECT_EQ(answer.result, HandlerResult::keep);
    }
    HttpRequest gone = request_for("/");  // without a connection
    EXPECT_EQ(soap_send_response(gone, "x"), HandlerResult::close);
}

TEST_F(SoapControl, AnswersWhatTheActionHeaderNames) {
    struct {
        const char* action;
        std::string arguments;
        const char* answer;
    } const cases[] = {
        {"ContentDirectory:1#GetSystemUpdateID", "",
         "<u:GetSystemUpdateIDResponse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\"><Id>0</Id>"
         "</u:GetSystemUpdateIDResponse></s:Body></s:Envelope>"},
        {"ContentDirectory:1#X_BrowseByLetter", kBrowseChildren, "<u:X_BrowseByLetterResponse "},
        {"ContentDirectory:1#X_BrowseByLetter", kBrowseMetadata, "<u:BrowseResponse "},
        {"ContentDirectory:1#Search", "<ObjectID>0</ObjectID>", "<errorCode>701<"},
        {"ConnectionManager:1#GetProtocolInfo", "",
         "<Source>http-get:*:audio/mpeg:*,http-get:*:audio/mpegurl:*,http-get:*:image/jpeg:*</Source>      "
         "<Sink></Sink>"},
        {"ContentDirectory:2#Browse", kBrowseMetadata, "<errorCode>401<"},
    };
    for (const auto& row : cases) EXPECT_THAT(control(row.action, row.arguments), HasSubstr(row.answer)) << row.action;
    // A header in capitals counts before any other.
    const std::string service = ": urn:schemas-upnp-org:service:ContentDirectory:1#";
    EXPECT_THAT(post("SoapAction" + service + "Browse\r\nSOAPACTION" + service + "GetSystemUpdateID\r\n", "").body,
                HasSubstr("<u:GetSystemUpdateIDResponse "));
}

TEST_F(SoapControl, KnowsNothingOfAnyConnection) {
    const std::string answer = control("ConnectionManager:1#GetCurrentConnectionInfo");
    EXPECT_TRUE(answer.starts_with(kSoapHead));
    const auto root = xml_parse(answer);
    const XmlNode* element = xml_find(root.get(), "u:GetCurrentConnectionInfoResponse");
    ASSERT_NE(element, nullptr);
    std::string listed;
    for (element = element->first_child.get(); element != nullptr; element = element->next.get())
        listed += element->name + "=" + element->text.value_or("?") + " ";
    EXPECT_EQ(listed,
              "RcsID=-1 AVTransportID=-1 ProtocolInfo= PeerConnectionManager= PeerConnectionID=-1 Direction=Output "
              "Status=Unknown ");
}
