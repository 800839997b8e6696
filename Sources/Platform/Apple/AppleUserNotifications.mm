#include "Platform/Apple/AppleUserNotifications.h"

#import <Foundation/Foundation.h>
#import <UserNotifications/UserNotifications.h>

#include "Platform/Apple/FoundationError.h"

namespace halcyra {

namespace {

/// Asking for the centre outside of a bundle raises an exception.
bool isInBundle() {
  return NSBundle.mainBundle.bundleIdentifier != nil;
}

Error noBundle() {
  return Error("halcyra.UserNotifications", 0, "Notifications need the application's bundle.");
}

std::optional<Error> optionalError(NSError* error) {
  return error != nil ? std::optional(errorOf(error)) : std::nullopt;
}

NSString* stringOf(const std::string& text) {
  NSString* const result = [NSString stringWithUTF8String:text.c_str()];
  return result != nil ? result : @"";
}

}  // namespace

void AppleUserNotifications::requestAuthorization(std::function<void(bool granted, std::optional<Error>)> completion) {
  @autoreleasepool {
    if (!isInBundle()) {
      completion(false, std::nullopt);
      return;
    }
    [UNUserNotificationCenter.currentNotificationCenter
        requestAuthorizationWithOptions:UNAuthorizationOptionAlert | UNAuthorizationOptionSound
                      completionHandler:^(BOOL granted, NSError* error) {
                        completion(granted != NO, optionalError(error));
                      }];
  }
}

void AppleUserNotifications::add(UserNotification notification, std::function<void(std::optional<Error>)> completion) {
  @autoreleasepool {
    if (!isInBundle()) {
      completion(noBundle());
      return;
    }
    UNMutableNotificationContent* const content = [[UNMutableNotificationContent alloc] init];
    content.title = stringOf(notification.title);
    content.body = stringOf(notification.body);
    content.sound = UNNotificationSound.defaultSound;
    UNNotificationRequest* const request =
        [UNNotificationRequest requestWithIdentifier:stringOf(notification.identifier) content:content trigger:nil];
    [UNUserNotificationCenter.currentNotificationCenter addNotificationRequest:request
                                                         withCompletionHandler:^(NSError* error) {
                                                           completion(optionalError(error));
                                                         }];
  }
}

}  // namespace halcyra
