#include "app/app.h"
#include "platform/console_application.h"

int main(int argument_count, char** arguments) {
  App app;
  return platform::RunApplication(app, argument_count, arguments);
}
